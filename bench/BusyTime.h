#pragma once

#include <QtGlobal>

#include <ctime>

/// How long this thread has had a processor.
inline qint64 busyNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}
