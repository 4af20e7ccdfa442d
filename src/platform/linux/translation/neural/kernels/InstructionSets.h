#pragma once

#include "platform/linux/translation/neural/kernels/Kernels.h"

namespace quillora::neural {

// One for each instruction set, each in a file of its own that is compiled for it.
extern const Kernels scalarKernels;
#if defined(__x86_64__)
extern const Kernels sse2Kernels;
extern const Kernels avx2Kernels;
extern const Kernels avx512VnniKernels;
#elif defined(__aarch64__)
extern const Kernels neonKernels;
#endif

} // namespace quillora::neural
