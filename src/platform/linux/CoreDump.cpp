#include "platform/linux/CoreDump.h"

#include <sys/resource.h>

namespace quillora::platform {

void forgoCoreDumps() {
    // No bytes at all would do for files only: a program that collects dumps is not held to any limit but
    // this one. Nor is the process made undumpable, which would hide it from the desktop's portals.
    constexpr rlimit oneByte{1, 1};
    ::setrlimit(RLIMIT_CORE, &oneByte);
}

} // namespace quillora::platform
