#pragma once

#include "recognizer/sherpa/ModelText.h"
#include "recognizer/sherpa/SherpaInterface.h"

#include <functional>
#include <memory>
#include <string>

namespace quillora::recognizer::sherpa {

/// An object of the library, with the function that takes it back.
template <typename Object>
using Owned = std::unique_ptr<const Object, std::function<void(const Object *)>>;

inline std::string textOf(const Owned<Result> &result) {
    return result && result->text ? modelText(result->text) : std::string();
}

} // namespace quillora::recognizer::sherpa
