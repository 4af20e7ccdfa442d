#include "platform/linux/translation/neural/VocabularyFile.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Reading.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace quillora::neural {

namespace {

constexpr std::uint64_t largestFile = 32 << 20;
constexpr std::size_t longestPiece = 1024;

// What a character map makes of one character, in bytes. The longest in use is 33.
constexpr std::size_t longestMapping = 64;

[[noreturn]] void damaged(const std::string &what) {
    throw ModelError("The vocabulary is damaged: " + what + ".");
}

/// A field of a protocol buffer. Of numbers only the bytes are kept.
struct Field {
    std::uint64_t number;
    enum class Wire : std::uint8_t { Varint = 0, Fixed64 = 1, Bytes = 2, Fixed32 = 5 } wire;
    std::string_view bytes;
    std::uint64_t varint;
};

/// Takes a protocol buffer apart, field after field.
class Fields {
public:
    explicit Fields(std::string_view message) : m_rest(message) {}

    std::optional<Field> next() {
        if (m_rest.empty())
            return std::nullopt;
        const std::uint64_t key = varint();
        // The library cuts it to 32 bits, so that what is no field here would be one there.
        if (key > std::numeric_limits<std::uint32_t>::max())
            damaged("it holds something of an unknown kind");
        Field field{key >> 3, Field::Wire(key & 7), {}, 0};
        switch (field.wire) {
        case Field::Wire::Varint:
            field.varint = varint();
            return field;
        case Field::Wire::Fixed64:
            field.bytes = take(8);
            return field;
        case Field::Wire::Bytes:
            field.bytes = take(varint());
            return field;
        case Field::Wire::Fixed32:
            field.bytes = take(4);
            return field;
        }
        damaged("it holds something of an unknown kind");
    }

private:
    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const auto byte = std::uint8_t(take(1)[0]);
            value |= std::uint64_t(byte & 0x7F) << shift;
            if ((byte & 0x80) == 0)
                return value;
        }
        damaged("it holds a number without end");
    }

    std::string_view take(std::uint64_t count) {
        if (count > m_rest.size())
            damaged("it ends too early");
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    }

    std::string_view m_rest;
};

std::string_view bytesOf(const Field &field) {
    if (field.wire != Field::Wire::Bytes)
        damaged("something in it is of another kind than it should");
    return field.bytes;
}

void checkPiece(std::string_view message, std::unordered_set<std::string_view> &pieces) {
    std::string_view piece;
    Fields fields(message);
    while (const auto field = fields.next()) {
        if (field->number == 1) {
            piece = bytesOf(*field);
        } else if (field->number == 2) {
            float score = 0;
            if (field->wire != Field::Wire::Fixed32)
                damaged("the score of a piece is no number");
            std::memcpy(&score, field->bytes.data(), sizeof score);
            if (!(std::abs(score) < 1e6F))
                damaged("the score of a piece is no number");
        }
    }
    if (piece.empty() || piece.size() > longestPiece || piece.find('\0') != std::string_view::npos)
        damaged("a piece is empty or much too long");
    if (!pieces.insert(piece).second)
        damaged("the piece \"" + std::string(piece) + "\" is in it twice");
}

/// The character map: the size of a double-array trie, the trie, and the texts that its values point into.
/// Each unit of the trie is 32 bits: a value, if the highest bit is set; otherwise a label, a flag that a
/// value is below it, and how far away its children are. They are found by an exclusive or with one byte, so
/// within a block of 256.
void checkCharacterMap(std::string_view map) {
    if (map.empty())
        return;
    constexpr std::size_t block = 256;
    std::uint32_t trieSize = 0;
    if (map.size() < sizeof trieSize)
        damaged("its character map ends too early");
    std::memcpy(&trieSize, map.data(), sizeof trieSize);
    map.remove_prefix(sizeof trieSize);
    if (trieSize == 0 || trieSize % (block * sizeof(std::uint32_t)) != 0 || trieSize >= map.size() ||
        map.back() != '\0')
        damaged("its character map has the wrong size");
    const std::size_t texts = map.size() - trieSize;
    const std::size_t units = trieSize / sizeof(std::uint32_t);
    const auto unitAt = [map](std::size_t index) {
        std::uint32_t unit = 0;
        std::memcpy(&unit, map.data() + index * sizeof unit, sizeof unit);
        return unit;
    };
    constexpr std::uint32_t isValue = 1U << 31;
    for (std::size_t index = 0; index < units; ++index) {
        const std::uint32_t unit = unitAt(index);
        // The first is where the library begins, whatever it says of itself.
        if ((unit & isValue) != 0 && index != 0)
            continue;
        const std::uint32_t distance = (unit >> 10) << ((unit & (1U << 9)) >> 6);
        const std::size_t children = index ^ distance;
        if (children >= units)
            damaged("its character map points beyond its end");
        if (const bool hasValue = (unit & (1U << 8)) != 0; hasValue) {
            const std::size_t text = unitAt(children) & ~isValue;
            if (text >= texts)
                damaged("its character map points beyond its end");
            if (map.substr(trieSize + text, longestMapping + 1).find('\0') == std::string_view::npos)
                damaged("its character map makes too much of a character");
        }
    }
}

void checkNormalizer(std::string_view message) {
    Fields fields(message);
    while (const auto field = fields.next()) {
        if (field->number == 2)
            checkCharacterMap(bytesOf(*field));
    }
}

} // namespace

std::string readVocabularyFile(std::istream &in) {
    const std::uint64_t size = sizeOf(in, "vocabulary");
    if (size > largestFile)
        throw ModelError("The vocabulary is too large to be one.");
    std::string file(size, '\0');
    readExactly(in, file.data(), size, "vocabulary");

    constexpr std::uint64_t pieceField = 1;
    constexpr std::uint64_t normalizerField = 3;
    constexpr std::uint64_t denormalizerField = 5;
    std::unordered_set<std::string_view> pieces;
    Fields fields(file);
    while (const auto field = fields.next()) {
        if (field->number == pieceField)
            checkPiece(bytesOf(*field), pieces);
        else if (field->number == normalizerField || field->number == denormalizerField)
            checkNormalizer(bytesOf(*field));
    }
    if (pieces.empty())
        damaged("there is no piece in it");
    return file;
}

} // namespace quillora::neural
