#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::test {

/// Puts a model file together. What is written is what is given, right or wrong.
class ModelWriter {
public:
    static constexpr std::uint64_t floatType = 0x0404;
    static constexpr std::uint64_t byteType = 0x4101;
    static constexpr std::uint64_t textType = 0x0101;

    void floats(std::string name, std::int32_t rows, std::int32_t columns, const std::vector<float> &values);

    /// Values times the multiplier, as bytes, in the order given.
    void bytes(std::string name, std::int32_t rows, std::int32_t columns, const std::vector<float> &values,
               float multiplier);

    void text(std::string name, std::string_view text);

    void item(std::string name, std::uint64_t type, std::vector<std::int32_t> shape, std::string data);

    std::string file() const;

private:
    struct Item {
        std::string name;
        std::uint64_t type;
        std::vector<std::int32_t> shape;
        std::string data;
    };
    std::vector<Item> m_items;
};

struct VocabularyPiece {
    std::string text;
    float score = -1;
    int type = 1; ///< 1 normal, 2 unknown, 3 control
};

/// A SentencePiece vocabulary: the first piece ends sentences, the second is the unknown one. `characterMap`
/// is what texts are normalised with.
std::string vocabularyFile(const std::vector<VocabularyPiece> &pieces, std::string_view characterMap = {});

/// A shortlist: for each source token its targets. The first `alwaysThere` tokens are always candidates.
std::string shortlistFile(std::uint64_t alwaysThere, const std::vector<std::vector<std::uint32_t>> &targets);

/// What a field of a protocol buffer looks like.
std::string protocolField(std::uint64_t number, std::string_view bytes);
std::string protocolField(std::uint64_t number, std::uint64_t value);

void writeFile(const std::string &path, std::string_view content);

} // namespace quillora::test
