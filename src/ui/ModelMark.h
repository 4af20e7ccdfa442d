#pragma once

#include "models/ModelNeed.h"
#include "ui/Picker.h"

#include <optional>

namespace quillora {

/// How a language is marked that takes something to be used; none if it is ready.
std::optional<Picker::Mark> modelMark(const ModelNeed &need);

} // namespace quillora
