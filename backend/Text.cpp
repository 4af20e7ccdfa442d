#include "backend/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace quillora::backend {

namespace {

constexpr std::size_t longestLanguageName = 64;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

/// The white space of Unicode as UTF-8.
constexpr std::array<std::string_view, 25> whiteSpace{" ",
                                                      "\t",
                                                      "\n",
                                                      "\v",
                                                      "\f",
                                                      "\r",
                                                      "\xC2\x85",
                                                      "\xC2\xA0",
                                                      "\xE1\x9A\x80",
                                                      "\xE2\x80\x80",
                                                      "\xE2\x80\x81",
                                                      "\xE2\x80\x82",
                                                      "\xE2\x80\x83",
                                                      "\xE2\x80\x84",
                                                      "\xE2\x80\x85",
                                                      "\xE2\x80\x86",
                                                      "\xE2\x80\x87",
                                                      "\xE2\x80\x88",
                                                      "\xE2\x80\x89",
                                                      "\xE2\x80\x8A",
                                                      "\xE2\x80\xA8",
                                                      "\xE2\x80\xA9",
                                                      "\xE2\x80\xAF",
                                                      "\xE2\x81\x9F",
                                                      "\xE3\x80\x80"};

/// Line breaks, invisible characters and those that turn the order of writing.
bool isTreacherous(std::string_view character) {
    if (character.size() == 1) {
        const char byte = character.front();
        return byte < ' ' || byte == '\x7F' ||
               std::string_view("\"<>[]{}|`:;*#=\\").find(byte) != std::string_view::npos;
    }
    return (character >= "\xC2\x80" && character <= "\xC2\x9F") ||
           (character >= "\xE2\x80\x8B" && character <= "\xE2\x80\x8F") ||
           (character >= "\xE2\x80\xA8" && character <= "\xE2\x80\xAE") ||
           (character >= "\xE2\x81\xA0" && character <= "\xE2\x81\xAF") || character == "\xEF\xBB\xBF";
}

std::size_t lengthOfFirst(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && isContinuation(text[length]))
        ++length;
    return length;
}

} // namespace

std::string_view trimmed(std::string_view text) {
    for (auto begins = true; begins;) {
        begins = std::any_of(whiteSpace.begin(), whiteSpace.end(), [&](std::string_view space) {
            const bool found = text.starts_with(space);
            text.remove_prefix(found ? space.size() : 0);
            return found;
        });
    }
    for (auto ends = true; ends;) {
        ends = std::any_of(whiteSpace.begin(), whiteSpace.end(), [&](std::string_view space) {
            const bool found = text.ends_with(space);
            text.remove_suffix(found ? space.size() : 0);
            return found;
        });
    }
    return text;
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

bool isLanguageName(std::string_view text) {
    if (trimmed(text).empty() || characterCount(text) > longestLanguageName)
        return false;
    while (!text.empty()) {
        const auto length = lengthOfFirst(text);
        if (isTreacherous(text.substr(0, length)))
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    });
    return result;
}

bool isThisComputer(std::string_view host) {
    if (host.starts_with('['))
        return host.starts_with("[::1]");
    const auto name = lowered(host.substr(0, host.find(':')));
    // "127.0.0.1.example.com" is a name like any other.
    const bool isNumber = name.find_first_not_of("0123456789.") == std::string::npos;
    return name == "localhost" || (isNumber && name.starts_with("127."));
}

std::string hexadecimal(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char byte : bytes) {
        const auto number = static_cast<std::uint8_t>(byte);
        result += digits[number >> 4U];
        result += digits[number & 0xFU];
    }
    return result;
}

} // namespace quillora::backend
