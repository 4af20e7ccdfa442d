#pragma once

#include <stdexcept>

namespace quillora::neural {

/// A file that cannot be used: damaged, or of a kind that is not supported. `what()` is a sentence that says
/// which of both, and where.
class ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace quillora::neural
