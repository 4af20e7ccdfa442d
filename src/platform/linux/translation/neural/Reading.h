#pragma once

#include <cstdint>
#include <istream>
#include <string_view>

namespace quillora::neural {

/// The size of a file in bytes, of which the first comes next. `what` is its name in a sentence: "model".
/// Throws ModelError where there is none, as of a pipe.
std::uint64_t sizeOf(std::istream &in, std::string_view what);

/// Reads so many bytes. Throws ModelError where the file ends before, and a plain std::runtime_error where
/// the disk fails: then the file may be all right.
void readExactly(std::istream &in, void *to, std::uint64_t size, std::string_view what);

} // namespace quillora::neural
