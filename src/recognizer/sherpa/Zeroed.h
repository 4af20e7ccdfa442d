#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace quillora::recognizer::sherpa {

/// Zeroes, also behind its end: the library may read a structure that is longer than we know.
template <typename Structure>
class Zeroed {
public:
    Zeroed() { std::memset(m_bytes.data(), 0, m_bytes.size()); }
    Structure &operator*() { return *reinterpret_cast<Structure *>(m_bytes.data()); }
    Structure *operator->() { return &**this; }

private:
    alignas(Structure) std::array<std::byte, 4096> m_bytes;
};

} // namespace quillora::recognizer::sherpa
