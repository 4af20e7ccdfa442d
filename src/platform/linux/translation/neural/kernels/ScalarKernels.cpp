#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "platform/linux/translation/neural/kernels/KernelBody.h"

namespace quillora::neural {

namespace {

/// What the others are measured against, and what runs where there is none of them.
struct ScalarSums {
    static constexpr std::size_t rows = 1;

    template <std::size_t Rows>
    static void of(const Int8Product &p, const std::int8_t *x, const std::int32_t *,
                   const std::int8_t *weights, std::int32_t (*sums)[blockOutputs]) {
        const std::size_t inputs = p.inputs;
        for (std::size_t output = 0; output < blockOutputs; ++output)
            sums[0][output] = 0;
        for (std::size_t input = 0; input < inputs; input += blockInputs) {
            for (std::size_t output = 0; output < blockOutputs; ++output)
                for (std::size_t i = 0; i < blockInputs; ++i)
                    sums[0][output] += x[input + i] * weights[output * blockInputs + i];
            weights += blockOutputs * blockInputs;
        }
    }
};

} // namespace

constinit const Kernels scalarKernels = kernelsWith<ScalarSums>("scalar");

} // namespace quillora::neural
