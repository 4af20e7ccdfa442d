#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::neural {

/// The container that a model comes in: named items, one after the other, behind a table of what they are.
///
/// The table is read and checked at construction, the items when they are asked for; nothing is allocated
/// that the file does not hold. Every operation throws ModelError.
class ModelFile {
public:
    enum class Type : std::uint64_t {
        Text = 0x0101,
        Floats = 0x0404,
        Bytes = 0x4101, ///< int8, and behind them the float that they were multiplied by
    };

    struct Item {
        std::string name;
        Type type;
        std::size_t rows; ///< 1 for text and vectors
        std::size_t columns;
        std::uint64_t begin; ///< in the file
    };

    /// `in` has to be seekable and outlive the file.
    explicit ModelFile(std::istream &in);

    /// In the order of the file; each name is there once.
    const std::vector<Item> &items() const { return m_items; }

    /// Null if there is none of that name.
    const Item *find(std::string_view name) const;

    std::string text(const Item &item);

    /// Finite values, rows × columns of them.
    void readFloats(const Item &item, std::span<float> to);

    /// Returns what the values were multiplied by: a usable multiplier.
    float readBytes(const Item &item, std::span<std::int8_t> to);

    /// Neither it nor its inverse overflows anything; false for what is not a number.
    static bool isUsableMultiplier(float multiplier) { return multiplier > 1e-12F && multiplier < 1e12F; }

private:
    void moveTo(const Item &item);
    void read(void *to, std::uint64_t size, std::string_view where);
    std::uint64_t readNumber(std::string_view where);
    void readTable();

    std::istream &m_in;
    std::uint64_t m_size = 0; ///< of the file
    std::uint64_t m_position = 0;
    std::vector<Item> m_items;
};

} // namespace quillora::neural
