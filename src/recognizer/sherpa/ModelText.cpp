#include "recognizer/sherpa/ModelText.h"

#include <algorithm>
#include <cstddef>

namespace quillora::recognizer {

namespace {

/// How many bytes the UTF-8 character at the beginning of `text` has; none if it is not whole.
std::size_t characterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length > text.size())
        return 0;
    const auto rest = text.substr(std::min<std::size_t>(1, length), length > 0 ? length - 1 : 0);
    const bool isWhole =
        std::all_of(rest.begin(), rest.end(), [](char byte) { return (byte & 0xC0) == 0x80; });
    return isWhole ? length : 0;
}

bool isBlank(std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    return first <= 0x20 || first == 0x7F || character == "\u3000" || character == "\u2581";
}

} // namespace

std::string modelText(std::string_view written) {
    std::string text;
    bool isBlankDue = false;
    while (!written.empty()) {
        const auto length = characterLength(written);
        const auto character = written.substr(0, length);
        if (length > 0 && isBlank(character)) {
            isBlankDue = !text.empty();
        } else if (length > 0) {
            if (isBlankDue)
                text += ' ';
            isBlankDue = false;
            text += character;
        }
        written.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

} // namespace quillora::recognizer
