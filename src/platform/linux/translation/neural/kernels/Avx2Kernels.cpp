#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "platform/linux/translation/neural/kernels/KernelBody.h"

#include <immintrin.h>

namespace quillora::neural {

namespace {

struct Avx2Sums {
    static constexpr std::size_t rows = 4;

    template <std::size_t Rows>
    INLINE static void of(const Int8Product &p, const std::int8_t *x, const std::int32_t *,
                          const std::int8_t *weights, std::int32_t (*sums)[blockOutputs]) {
        // The instruction wants one side unsigned, and a pair of products to fit into 16 bits. What is never
        // negative is unsigned by itself; otherwise it is |w| times x with the sign of w. Either is at most 2
        // · 128 · 127.
        if (p.isNeverNegative)
            add<Rows>(p.inputs, x, weights, sums,
                      [](__m256i four, __m256i w) { return _mm256_maddubs_epi16(four, w); });
        else
            add<Rows>(p.inputs, x, weights, sums, [](__m256i four, __m256i w) {
                return _mm256_maddubs_epi16(_mm256_abs_epi8(w), _mm256_sign_epi8(four, w));
            });
    }

private:
    template <std::size_t Rows, class Pairs>
    INLINE static void add(std::size_t inputs, const std::int8_t *x, const std::int8_t *weights,
                           std::int32_t (*sums)[blockOutputs], Pairs pairsOf) {
        const __m256i ones = _mm256_set1_epi16(1);
        __m256i sum[Rows][2] = {};
        for (std::size_t input = 0; input < inputs; input += blockInputs, weights += 64) {
            for (std::size_t half = 0; half < 2; ++half) {
                const __m256i w = _mm256_load_si256(reinterpret_cast<const __m256i *>(weights) + half);
                for (std::size_t r = 0; r < Rows; ++r) {
                    std::int32_t four;
                    __builtin_memcpy(&four, x + r * inputs + input, sizeof four);
                    const __m256i pairs = pairsOf(_mm256_set1_epi32(four), w);
                    sum[r][half] = _mm256_add_epi32(sum[r][half], _mm256_madd_epi16(pairs, ones));
                }
            }
        }
        for (std::size_t r = 0; r < Rows; ++r)
            for (std::size_t half = 0; half < 2; ++half)
                _mm256_store_si256(reinterpret_cast<__m256i *>(sums[r]) + half, sum[r][half]);
    }
};

} // namespace

constinit const Kernels avx2Kernels = kernelsWith<Avx2Sums>("AVX2");

} // namespace quillora::neural
