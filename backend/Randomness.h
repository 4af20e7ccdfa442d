#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillora::backend {

/// Bytes that nobody can guess. Throws std::runtime_error if the system has none.
std::string randomBytes(std::size_t count);

/// SHA-256, 32 bytes.
std::string digest(std::string_view bytes);

/// What tells two values apart in a log without telling either: 16 hexadecimal digits that mean nothing to
/// another process.
std::string pseudonym(std::string_view value);

/// Whether both are the same, in a time that depends on their lengths alone.
bool areSame(std::string_view one, std::string_view other);

} // namespace quillora::backend
