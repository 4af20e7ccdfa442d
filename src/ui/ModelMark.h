#pragma once

#include "models/ModelNeed.h"
#include "platform/ModelStore.h"
#include "ui/Picker.h"

#include <optional>

namespace quillora {

/// How a language is marked that takes something of that kind to be used; none if it is ready.
std::optional<Picker::Mark> modelMark(const ModelNeed &need, platform::ModelKind kind);

/// How a target language is marked that the on-device engine never translates into: with its choice the
/// hosted engine takes over by itself.
Picker::Mark hostedMark();

} // namespace quillora
