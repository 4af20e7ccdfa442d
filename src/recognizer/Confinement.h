#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillora::recognizer {

/// From here on this process has no network, starts no programs, writes nothing and reads nothing but
/// `readable` files and folders and the system's libraries. Returns the protections that this kernel offers
/// (Protection); what it does not offer is left out.
std::uint32_t confine(const std::vector<std::string> &readable);

} // namespace quillora::recognizer
