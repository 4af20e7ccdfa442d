#pragma once

#include "backend/Configuration.h"

#include <string>

namespace quillora::backend {

/// Tries whatever a configuration names, and tells of each in a line: what is in order on the standard
/// output, what is not on the standard error. True if all of it is. `file` is where the configuration was
/// read.
bool check(const Configuration &configuration, const std::string &file);

} // namespace quillora::backend
