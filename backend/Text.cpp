#include "backend/Text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>

namespace quillora::backend {

namespace {

constexpr std::size_t longestLanguageName = 64;
constexpr std::size_t longestOfACharacter = 4;

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

struct Range {
    char32_t first;
    char32_t last;
};

/// What a reader does not see, what turns the order of writing, and what has no meaning that all agree on.
/// What Unicode has set aside for characters of that kind to come is among them.
constexpr std::array<Range, 25> hidden{
    {{0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},     {0x61C, 0x61C},
     {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},
     {0x2060, 0x206F},   {0x2800, 0x2800},   {0x3164, 0x3164},   {0xE000, 0xF8FF},   {0xFDD0, 0xFDEF},
     {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFF},   {0x13430, 0x1345F},
     {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}, {0xF0000, 0xFFFFF}, {0x100000, 0x10FFFF}}};

bool isHidden(char32_t character) {
    const bool endsItsPlane = (character & 0xFFFEU) == 0xFFFEU;
    return endsItsPlane || std::any_of(hidden.begin(), hidden.end(), [&](const Range &range) {
               return character >= range.first && character <= range.last;
           });
}

/// What begins or ends a quotation, markup, or a piece of a program.
bool isMarkup(char32_t character) {
    return character < 0x80 &&
           std::string_view("\"<>{}|`;*#=\\").find(static_cast<char>(character)) != std::string_view::npos;
}

/// Spaces without width, and what joins letters or keeps them apart: Khmer, Persian, Telugu and Sinhala are
/// written with them.
bool isJoiner(char32_t character) { return character >= 0x200B && character <= 0x200D; }

/// Whether a letter of a script that is written with joiners, or of its neighbours.
bool mayBeJoined(char32_t character) {
    constexpr char32_t firstOfThoseScripts = 0x600;
    return character >= firstOfThoseScripts && !isHidden(character);
}

/// Nothing if it is not UTF-8.
std::optional<std::u32string> charactersOf(std::string_view text) {
    std::u32string characters;
    while (!text.empty()) {
        const auto lead = static_cast<std::uint8_t>(text.front());
        const auto length = static_cast<std::size_t>(std::max(1, std::countl_one(lead)));
        if (length > longestOfACharacter || isContinuation(text.front()) || length > text.size() ||
            !std::all_of(text.begin() + 1, text.begin() + length, isContinuation))
            return {};
        char32_t character = length == 1 ? lead : lead & (0x7FU >> length);
        for (const char byte : text.substr(1, length - 1))
            character = character << 6U | (static_cast<std::uint8_t>(byte) & 0x3FU);
        characters += character;
        text.remove_prefix(length);
    }
    return characters;
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
    const auto name = charactersOf(text);
    if (!name || trimmed(text).empty() || name->size() > longestLanguageName)
        return false;
    for (std::size_t place = 0; place < name->size(); ++place) {
        const auto character = (*name)[place];
        const auto before = place > 0 ? (*name)[place - 1] : U'\0';
        const auto after = place + 1 < name->size() ? (*name)[place + 1] : U'\0';
        // Several in a row, or among letters that do without, could spell what nobody sees.
        const bool joins =
            isJoiner(character) && !isJoiner(before) && (mayBeJoined(before) || mayBeJoined(after));
        if (isMarkup(character) || (isHidden(character) && !joins))
            return false;
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
