#include "platform/linux/translation/neural/kernels/Kernels.h"

#include "platform/linux/translation/neural/kernels/InstructionSets.h"

#include <vector>

namespace quillora::neural {

std::span<const Kernels *const> availableKernels() {
    static const std::vector<const Kernels *> available = [] {
        std::vector<const Kernels *> kernels{&scalarKernels};
#if defined(__x86_64__)
        kernels.push_back(&sse2Kernels);
        if (__builtin_cpu_supports("avx2"))
            kernels.push_back(&avx2Kernels);
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
            __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
            __builtin_cpu_supports("avx512vnni"))
            kernels.push_back(&avx512VnniKernels);
#elif defined(__aarch64__)
        kernels.push_back(&neonKernels);
#endif
        return kernels;
    }();
    return available;
}

} // namespace quillora::neural
