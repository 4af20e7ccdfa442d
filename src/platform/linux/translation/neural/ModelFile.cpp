#include "platform/linux/translation/neural/ModelFile.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Reading.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <unordered_set>

static_assert(std::endian::native == std::endian::little, "models are little-endian, and read as they are");

namespace quillora::neural {

namespace {

// Above what any model has: what a table claims beyond is damage.
constexpr std::uint64_t mostItems = 4096;
constexpr std::uint64_t longestName = 256;
constexpr std::uint64_t highestRank = 4;
constexpr std::uint64_t longestText = 1 << 16;

std::string quoted(std::string_view name) { return "\"" + std::string(name) + "\""; }

[[noreturn]] void damaged(const std::string &what) {
    throw ModelError("The model is damaged: " + what + ".");
}

std::uint64_t elementSize(ModelFile::Type type) {
    return type == ModelFile::Type::Floats ? sizeof(float) : 1;
}

} // namespace

ModelFile::ModelFile(std::istream &in) : m_in(in) {
    m_size = sizeOf(m_in, "model");
    readTable();
}

void ModelFile::readTable() {
    if (const std::uint64_t version = readNumber("its header"); version != 1)
        throw ModelError("The model is not one, or of an unknown version (" + std::to_string(version) + ").");
    const std::uint64_t count = readNumber("its header");
    if (count == 0 || count > mostItems)
        damaged("it claims to hold " + std::to_string(count) + " items");

    struct Entry {
        std::uint64_t nameLength, type, rank, length;
    };
    std::vector<Entry> entries(count);
    for (Entry &entry : entries) {
        entry = {readNumber("its table"), readNumber("its table"), readNumber("its table"),
                 readNumber("its table")};
        if (entry.nameLength < 2 || entry.nameLength > longestName)
            damaged("a name in its table is " + std::to_string(entry.nameLength) + " bytes long");
        if (entry.rank == 0 || entry.rank > highestRank)
            damaged("an item in its table has " + std::to_string(entry.rank) + " dimensions");
    }

    std::unordered_set<std::string> names;
    for (const Entry &entry : entries) {
        std::string name(entry.nameLength, '\0');
        read(name.data(), entry.nameLength, "the names");
        if (name.find('\0') != name.size() - 1)
            damaged("a name in its table does not end where it should");
        name.pop_back();
        if (!names.insert(name).second)
            damaged(quoted(name) + " is in it twice");
        const Type type = Type(entry.type);
        if (type != Type::Text && type != Type::Floats && type != Type::Bytes)
            throw ModelError("The model holds " + quoted(name) +
                             " in a number format that is not supported (" + std::to_string(entry.type) +
                             ").");
        m_items.push_back({std::move(name), type, 1, 1, 0});
    }

    for (std::size_t i = 0; i < count; ++i) {
        Item &item = m_items[i];
        for (std::uint64_t dimension = 0; dimension < entries[i].rank; ++dimension) {
            std::int32_t extent = 0;
            read(&extent, sizeof extent, "the shapes");
            if (extent <= 0)
                damaged("the shape of " + quoted(item.name) + " has a side of " + std::to_string(extent));
            // Bounded by the file at every step, so that no product of sides overflows.
            item.rows *= item.columns;
            item.columns = std::size_t(extent);
            if (item.columns > m_size || item.rows > m_size / item.columns)
                damaged("the shape of " + quoted(item.name) + " is larger than the file");
        }
    }

    const std::uint64_t gap = readNumber("its table");
    if (gap > m_size - m_position)
        damaged("its items begin behind its end");
    std::uint64_t begin = m_position + gap;
    for (std::size_t i = 0; i < count; ++i) {
        Item &item = m_items[i];
        const std::uint64_t length = entries[i].length;
        if (length > m_size - begin)
            damaged("it ends within " + quoted(item.name));
        const std::uint64_t needed = item.rows * item.columns * elementSize(item.type) +
                                     (item.type == Type::Bytes ? sizeof(float) : 0);
        if (needed > length)
            damaged(quoted(item.name) + " is shorter than its shape");
        item.begin = begin;
        begin += length;
    }
}

const ModelFile::Item *ModelFile::find(std::string_view name) const {
    const auto found = std::ranges::find(m_items, name, &Item::name);
    return found == m_items.end() ? nullptr : &*found;
}

std::string ModelFile::text(const Item &item) {
    const std::size_t length = item.rows * item.columns;
    if (item.type != Type::Text || length > longestText)
        damaged(quoted(item.name) + " is no text");
    std::string text(length, '\0');
    moveTo(item);
    read(text.data(), length, item.name);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

void ModelFile::readFloats(const Item &item, std::span<float> to) {
    if (item.type != Type::Floats || to.size() != item.rows * item.columns)
        damaged(quoted(item.name) + " has another type or shape than asked for");
    moveTo(item);
    read(to.data(), to.size_bytes(), item.name);
    if (!std::ranges::all_of(to, [](float value) { return std::isfinite(value); }))
        damaged(quoted(item.name) + " holds a value that is not a number");
}

float ModelFile::readBytes(const Item &item, std::span<std::int8_t> to) {
    if (item.type != Type::Bytes || to.size() != item.rows * item.columns)
        damaged(quoted(item.name) + " has another type or shape than asked for");
    moveTo(item);
    read(to.data(), to.size(), item.name);
    float multiplier = 0;
    read(&multiplier, sizeof multiplier, item.name);
    if (!isUsableMultiplier(multiplier))
        damaged("the multiplier of " + quoted(item.name) + " is no usable number");
    return multiplier;
}

void ModelFile::moveTo(const Item &item) {
    m_in.seekg(std::streamoff(item.begin));
    m_position = item.begin;
}

void ModelFile::read(void *to, std::uint64_t size, std::string_view where) {
    if (size > m_size - m_position)
        damaged("it ends within " + std::string(where));
    readExactly(m_in, to, size, "model");
    m_position += size;
}

std::uint64_t ModelFile::readNumber(std::string_view where) {
    std::uint64_t number = 0;
    read(&number, sizeof number, where);
    return number;
}

} // namespace quillora::neural
