// Baseline x86-64: pairs of 16 bits are multiplied and added up to 32.
#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "platform/linux/translation/neural/kernels/KernelBody.h"

#include <emmintrin.h>

namespace quillora::neural {

namespace {

struct Sse2Sums {
    static constexpr std::size_t rows = 2;

    template <std::size_t Rows>
    INLINE static void of(const Int8Product &p, const std::int8_t *x, const std::int32_t *,
                          const std::int8_t *weights, std::int32_t (*sums)[blockOutputs]) {
        const std::size_t inputs = p.inputs;
        __m128i sum[Rows][4] = {};
        for (std::size_t input = 0; input < inputs; input += blockInputs, weights += 64) {
            // Of the 4 neighbours, the first and third by themselves, the second and fourth by themselves.
            __m128i even[Rows];
            __m128i odd[Rows];
            for (std::size_t r = 0; r < Rows; ++r) {
                std::int32_t four;
                __builtin_memcpy(&four, x + r * inputs + input, sizeof four);
                const __m128i all = _mm_set1_epi32(four);
                even[r] = _mm_srai_epi16(_mm_slli_epi16(all, 8), 8);
                odd[r] = _mm_srai_epi16(all, 8);
            }
            for (std::size_t quarter = 0; quarter < 4; ++quarter) {
                const __m128i w = _mm_load_si128(reinterpret_cast<const __m128i *>(weights) + quarter);
                const __m128i evenWeights = _mm_srai_epi16(_mm_slli_epi16(w, 8), 8);
                const __m128i oddWeights = _mm_srai_epi16(w, 8);
                for (std::size_t r = 0; r < Rows; ++r)
                    sum[r][quarter] =
                        _mm_add_epi32(sum[r][quarter], _mm_add_epi32(_mm_madd_epi16(evenWeights, even[r]),
                                                                     _mm_madd_epi16(oddWeights, odd[r])));
            }
        }
        for (std::size_t r = 0; r < Rows; ++r)
            for (std::size_t quarter = 0; quarter < 4; ++quarter)
                _mm_store_si128(reinterpret_cast<__m128i *>(sums[r]) + quarter, sum[r][quarter]);
    }
};

} // namespace

constinit const Kernels sse2Kernels = kernelsWith<Sse2Sums>("SSE2");

} // namespace quillora::neural
