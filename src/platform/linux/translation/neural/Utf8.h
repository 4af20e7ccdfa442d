#pragma once

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillora::neural {

/// A character and where it ends; what is not UTF-8 is U+FFFD.
struct Character {
    UChar32 code;
    std::size_t end; ///< of its bytes; for the character before an offset: its beginning
};

inline Character characterAt(std::string_view text, std::size_t offset) {
    auto end = std::int64_t(offset);
    UChar32 code = 0;
    U8_NEXT_OR_FFFD(text.data(), end, std::int64_t(text.size()), code);
    return {code, std::size_t(end)};
}

inline bool isWithinCharacter(std::string_view text, std::size_t offset) {
    return offset < text.size() && U8_IS_TRAIL(std::uint8_t(text[offset]));
}

inline Character characterBefore(std::string_view text, std::size_t offset) {
    std::size_t begin = offset - 1;
    while (begin > 0 && offset - begin < U8_MAX_LENGTH && isWithinCharacter(text, begin))
        --begin;
    const Character character = characterAt(text, begin);
    return character.end == offset ? Character{character.code, begin} : Character{0xFFFD, offset - 1};
}

/// The offset, or the one before it where a character begins.
inline std::size_t characterBegin(std::string_view text, std::size_t offset) {
    while (offset > 0 && isWithinCharacter(text, offset))
        --offset;
    return offset;
}

} // namespace quillora::neural
