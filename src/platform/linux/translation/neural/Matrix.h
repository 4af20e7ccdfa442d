#pragma once

#include "platform/linux/translation/neural/PageMemory.h"
#include "platform/linux/translation/neural/kernels/Kernels.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quillora::neural {

/// Weights that a row of `inputs` values is multiplied with, to `outputs` values, and what is added to them.
/// It holds int8 or floats; the other pointer is null. The memory belongs to whoever made it.
struct Matrix {
    std::size_t inputs = 0;
    std::size_t outputs = 0;
    const std::int8_t *bytes = nullptr; ///< in blocks, see Kernels.h
    float multiplier = 1;               ///< what the weights were multiplied by to become bytes
    float inputMultiplier = 0; ///< what an input is to be multiplied by; 0: by what its own range asks for
    bool inputIsNeverNegative = false; ///< which makes some products faster
    const float *floats = nullptr;     ///< inputs × outputs
    const float *bias = nullptr;       ///< filled up to a whole block; or null

    /// How many bytes a product reads of it.
    std::size_t size() const { return inputs * outputs * (bytes != nullptr ? 1 : sizeof(float)); }
};

/// How many values there are in `count` filled up to whole blocks.
constexpr std::size_t wholeBlocks(std::size_t count) {
    return (count + blockOutputs - 1) / blockOutputs * blockOutputs;
}

/// Puts rows of `inputs` weights, one for each output, into blocks; `to` has `wholeBlocks` of them.
template <class RowOf>
void packIntoBlocks(std::size_t outputs, std::size_t inputs, RowOf rowOf, std::int8_t *to) {
    for (std::size_t begin = 0; begin < outputs; begin += blockOutputs) {
        std::int8_t *block = to + begin * inputs;
        for (std::size_t output = 0; output < blockOutputs; ++output) {
            if (begin + output >= outputs)
                continue;
            const std::int8_t *row = rowOf(begin + output);
            for (std::size_t input = 0; input < inputs; input += blockInputs)
                for (std::size_t i = 0; i < blockInputs; ++i)
                    block[(input * blockOutputs) + output * blockInputs + i] = row[input + i];
        }
    }
}

/// Products, with the room that they need in between. For one thread.
class Multiplier {
public:
    explicit Multiplier(const Kernels &kernels) : m_kernels(kernels) {}

    /// y = x · matrix + bias, row by row. What a row becomes does not depend on the rows beside it.
    void multiply(const Matrix &matrix, const float *x, std::size_t rows, float *y);

private:
    const Kernels &m_kernels;
    std::vector<std::int8_t> m_quantized;
    std::vector<float> m_units;
    std::vector<std::int32_t> m_totals;
};

} // namespace quillora::neural
