#include "platform/linux/FreedMemory.h"

#include <malloc.h>

namespace quillora::platform {

void giveFreedMemoryBack() {
    constexpr int kept = 256 << 10; // bytes; a picture of the panel is larger, and drawn far more rarely
    ::mallopt(M_TRIM_THRESHOLD, kept);
    ::mallopt(M_MMAP_THRESHOLD, kept);
}

} // namespace quillora::platform
