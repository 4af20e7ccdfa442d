#include "support/neural/ModelWriter.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace quillora::test {

namespace {

constexpr std::size_t alignment = 256;

template <class Value>
void append(std::string &to, const Value &value) {
    to.append(reinterpret_cast<const char *>(&value), sizeof value);
}

template <class Value>
std::string bytesOf(const std::vector<Value> &values) {
    return {reinterpret_cast<const char *>(values.data()), values.size() * sizeof(Value)};
}

std::string varint(std::uint64_t value) {
    std::string bytes;
    for (; value > 0x7F; value >>= 7)
        bytes += char((value & 0x7F) | 0x80);
    return bytes + char(value);
}

std::string protocolFloat(unsigned number, float value) {
    std::string bytes = varint(number << 3 | 5);
    append(bytes, value);
    return bytes;
}

} // namespace

void ModelWriter::floats(std::string name, std::int32_t rows, std::int32_t columns,
                         const std::vector<float> &values) {
    item(std::move(name), floatType, {rows, columns}, bytesOf(values));
}

void ModelWriter::bytes(std::string name, std::int32_t rows, std::int32_t columns,
                        const std::vector<float> &values, float multiplier) {
    std::string data;
    for (const float value : values)
        data += char(std::int8_t(std::nearbyint(value * multiplier)));
    append(data, multiplier);
    item(std::move(name), byteType, {rows, columns}, std::move(data));
}

void ModelWriter::text(std::string name, std::string_view text) {
    std::string data(text);
    data += '\0';
    const auto length = std::int32_t(data.size());
    item(std::move(name), textType, {length}, std::move(data));
}

void ModelWriter::item(std::string name, std::uint64_t type, std::vector<std::int32_t> shape,
                       std::string data) {
    data.resize((data.size() + alignment - 1) / alignment * alignment);
    m_items.push_back({std::move(name), type, std::move(shape), std::move(data)});
}

std::string ModelWriter::file() const {
    std::string file;
    append(file, std::uint64_t(1));
    append(file, std::uint64_t(m_items.size()));
    for (const Item &item : m_items) {
        append(file, std::uint64_t(item.name.size() + 1));
        append(file, item.type);
        append(file, std::uint64_t(item.shape.size()));
        append(file, std::uint64_t(item.data.size()));
    }
    for (const Item &item : m_items)
        file += item.name + '\0';
    for (const Item &item : m_items)
        file += bytesOf(item.shape);
    const std::size_t gap = alignment - (file.size() + sizeof(std::uint64_t)) % alignment;
    append(file, std::uint64_t(gap));
    file.append(gap, '\0');
    for (const Item &item : m_items)
        file += item.data;
    return file;
}

std::string protocolField(std::uint64_t number, std::string_view bytes) {
    return varint(number << 3 | 2) + varint(bytes.size()) + std::string(bytes);
}

std::string protocolField(std::uint64_t number, std::uint64_t value) {
    return varint(number << 3) + varint(value);
}

std::string vocabularyFile(const std::vector<VocabularyPiece> &pieces, std::string_view characterMap) {
    constexpr auto none = std::uint64_t(-1);
    std::string file;
    for (const VocabularyPiece &piece : pieces)
        file += protocolField(1, protocolField(1, piece.text) + protocolFloat(2, piece.score) +
                                     protocolField(3, std::uint64_t(piece.type)));
    file += protocolField(2, protocolField(3, 1) + protocolField(4, pieces.size()) + protocolField(40, 1) +
                                 protocolField(41, none) + protocolField(42, 0) + protocolField(43, none));
    std::string normalizer = protocolField(1, "identity");
    if (!characterMap.empty())
        normalizer += protocolField(2, characterMap);
    file += protocolField(3, normalizer + protocolField(3, 1) + protocolField(4, 1) + protocolField(5, 1));
    return file;
}

std::string shortlistFile(std::uint64_t alwaysThere, const std::vector<std::vector<std::uint32_t>> &targets) {
    std::vector<std::uint64_t> begins{0};
    std::string all;
    for (const auto &list : targets) {
        begins.push_back(begins.back() + list.size());
        all += bytesOf(list);
    }
    std::string file;
    append(file, std::uint64_t(0xF11A48D5013417F5));
    append(file, std::uint64_t(0));
    append(file, alwaysThere);
    append(file, std::uint64_t(1));
    append(file, std::uint64_t(begins.size()));
    append(file, begins.back());
    return file + bytesOf(begins) + all;
}

void writeFile(const std::string &path, std::string_view content) {
    std::ofstream out(path, std::ios::binary);
    if (!out.write(content.data(), std::streamsize(content.size())).flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace quillora::test
