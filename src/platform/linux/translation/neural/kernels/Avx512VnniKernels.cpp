#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "platform/linux/translation/neural/kernels/KernelBody.h"

#include <immintrin.h>

namespace quillora::neural {

namespace {

struct Avx512VnniSums {
    static constexpr std::size_t rows = 8;

    template <std::size_t Rows>
    INLINE static void of(const Int8Product &p, const std::int8_t *x, const std::int32_t *total,
                          const std::int8_t *weights, std::int32_t (*sums)[blockOutputs]) {
        const std::size_t inputs = p.inputs;
        // The instruction wants one side unsigned: so w + 128, and 128 · total is taken off again. A row by
        // itself is added up in four chains, because each instruction waits for the one before it in its
        // chain.
        constexpr std::size_t chains = Rows == 1 ? 4 : 1;
        const __m512i shift = _mm512_set1_epi8(-128);
        __m512i sum[Rows][chains] = {};
        for (std::size_t input = 0; input < inputs; input += chains * blockInputs) {
            for (std::size_t chain = 0; chain < chains; ++chain, weights += 64) {
                const __m512i w = _mm512_xor_si512(_mm512_load_si512(weights), shift);
                for (std::size_t r = 0; r < Rows; ++r) {
                    std::int32_t four;
                    __builtin_memcpy(&four, x + r * inputs + input + chain * blockInputs, sizeof four);
                    sum[r][chain] = _mm512_dpbusd_epi32(sum[r][chain], w, _mm512_set1_epi32(four));
                }
            }
        }
        for (std::size_t r = 0; r < Rows; ++r) {
            for (std::size_t chain = 1; chain < chains; ++chain)
                sum[r][0] = _mm512_add_epi32(sum[r][0], sum[r][chain]);
            _mm512_store_si512(sums[r], _mm512_sub_epi32(sum[r][0], _mm512_set1_epi32(128 * total[r])));
        }
    }
};

} // namespace

constinit const Kernels avx512VnniKernels = kernelsWith<Avx512VnniSums>("AVX-512 VNNI");

} // namespace quillora::neural
