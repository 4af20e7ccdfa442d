#pragma once

#include "platform/LocalizedError.h"

#include <functional>

namespace quillora::platform {

/// Why a model cannot be had, read or kept, in a sentence for the user.
class ModelFault : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

/// Asked again and again by long work, on its thread; once it says yes the work throws an Interruption.
using IsUnwanted = std::function<bool()>;

class Interruption : public std::exception {
public:
    const char *what() const noexcept override { return "the work is not wanted any more"; }

    static void ifUnwanted(const IsUnwanted &isUnwanted) {
        if (isUnwanted())
            throw Interruption();
    }
};

} // namespace quillora::platform
