#if defined(__aarch64__) // the linter reads it everywhere

#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "platform/linux/translation/neural/kernels/KernelBody.h"

#include <arm_neon.h>

namespace quillora::neural {

namespace {

struct NeonSums {
    static constexpr std::size_t rows = 2;

    template <std::size_t Rows>
    INLINE static void of(const Int8Product &p, const std::int8_t *x, const std::int32_t *,
                          const std::int8_t *weights, std::int32_t (*sums)[blockOutputs]) {
        const std::size_t inputs = p.inputs;
        // Each sum holds two outputs as two halves: a product of bytes fits into 16 bits, a pair of them
        // into 32.
        int32x4_t sum[Rows][8];
        for (std::size_t r = 0; r < Rows; ++r)
            for (int32x4_t &s : sum[r])
                s = vdupq_n_s32(0);
        for (std::size_t input = 0; input < inputs; input += blockInputs, weights += 64) {
            int8x8_t twice[Rows];
            for (std::size_t r = 0; r < Rows; ++r) {
                std::int32_t four;
                __builtin_memcpy(&four, x + r * inputs + input, sizeof four);
                twice[r] = vreinterpret_s8_s32(vdup_n_s32(four));
            }
            for (std::size_t eighth = 0; eighth < 8; ++eighth) {
                const int8x8_t w = vld1_s8(weights + eighth * 8);
                for (std::size_t r = 0; r < Rows; ++r)
                    sum[r][eighth] = vpadalq_s16(sum[r][eighth], vmull_s8(w, twice[r]));
            }
        }
        for (std::size_t r = 0; r < Rows; ++r)
            for (std::size_t quarter = 0; quarter < 4; ++quarter)
                vst1q_s32(sums[r] + quarter * 4, vpaddq_s32(sum[r][2 * quarter], sum[r][2 * quarter + 1]));
    }
};

} // namespace

constinit const Kernels neonKernels = kernelsWith<NeonSums>("NEON");

} // namespace quillora::neural

#endif
