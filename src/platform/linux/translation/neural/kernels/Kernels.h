#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quillora::neural {

// Weights of int8 are stored in blocks, in the order in which a product reads them: 16 outputs by 4 inputs,
// the 4 inputs of one output side by side. Whatever multiplies bytes multiplies 4 neighbours and adds them
// up.
inline constexpr std::size_t blockOutputs = 16;
inline constexpr std::size_t blockInputs = 4;

/// Inputs come in multiples of this.
inline constexpr std::size_t inputStep = 16;

/// y = x · W, int8 times int8 with sums of 32 bits, exact; then scaled to what it stands for.
struct Int8Product {
    const std::int8_t *x; ///< rows × inputs, none of them -128
    std::size_t rows;
    std::size_t inputs;         ///< a multiple of inputStep
    const float *unit;          ///< for each row, what 1 of the integer sum stands for
    const std::int32_t *total;  ///< for each row, the sum of its x
    const std::int8_t *weights; ///< in blocks, aligned to 64 bytes, the last one filled up
    std::size_t outputs;
    const float *bias;            ///< for each output, filled up to a whole block; or null
    float *y;                     ///< rows × outputs
    bool isNeverNegative = false; ///< x, which some instructions make use of
};

/// y = x · W in floats. `weights` is inputs × outputs.
struct FloatProduct {
    const float *x;
    std::size_t rows;
    std::size_t inputs;
    const float *weights;
    std::size_t outputs;
    const float *bias; ///< for each output, or null
    float *y;
};

/// One position looks at all positions of a sentence, with each of its heads by itself.
struct Attention {
    const float *query; ///< one row
    const float
        *keys; ///< turned on their side: for each number of a row, those of all rows, filled up to a block
    const float *values; ///< rows
    std::size_t rows;
    std::size_t dimension; ///< of a row
    std::size_t heads;
    float *weights; ///< room for a float for each row, filled up to a block
    float *y;       ///< one row
};

/// The arithmetic, for one instruction set. Every set computes the same, bit by bit: integers are exact, and
/// floats are added up in the same order, whatever the width of a register. So a translation does not depend
/// on the machine.
struct Kernels {
    const char *name;

    void (*multiplyInt8)(const Int8Product &);
    void (*multiplyFloats)(const FloatProduct &);

    /// The largest absolute value.
    float (*largest)(const float *x, std::size_t count);

    /// q = x · multiplier, to the nearest, kept within ±127. Returns the sum of q.
    std::int32_t (*quantize)(const float *x, std::size_t count, float multiplier, std::int8_t *q);

    void (*attend)(const Attention &);

    /// x = normalised(x + y) · scale + bias. `count` is a multiple of inputStep.
    void (*addAndNormalize)(float *x, const float *y, std::size_t count, const float *scale,
                            const float *bias);

    /// x = max(x, 0).
    void (*rectify)(float *x, std::size_t count);

    /// The recurrent unit: f = sigmoid(forget); memory = f · memory + (1 - f) · y; y = max(memory, 0).
    void (*remember)(float *memory, const float *forget, float *y, std::size_t count);
};

/// Those that this processor can run, slowest first.
std::span<const Kernels *const> availableKernels();

/// The fastest of them.
inline const Kernels &fastestKernels() { return *availableKernels().back(); }

} // namespace quillora::neural
