#pragma once

#include "platform/LocalizedError.h"

namespace quillora::platform {

/// Why a model cannot be had, read or kept, in a sentence for the user.
class ModelFault : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

} // namespace quillora::platform
