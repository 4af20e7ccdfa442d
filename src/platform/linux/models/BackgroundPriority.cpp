#include "platform/linux/models/BackgroundPriority.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillora::platform {

void yieldToEverybody() {
    const sched_param none{};
    ::pthread_setschedparam(::pthread_self(), SCHED_IDLE, &none);
    // The system's library has no name for this call, nor the headers for its numbers.
    constexpr int thisThread = 1, idleClass = 3 << 13;
    ::syscall(SYS_ioprio_set, thisThread, 0, idleClass);
}

void giveWay() {
    constexpr int steps = 10;
    // On Linux the calling thread is meant, not its process.
    ::setpriority(PRIO_PROCESS, 0, ::getpriority(PRIO_PROCESS, 0) + steps);
}

} // namespace quillora::platform
