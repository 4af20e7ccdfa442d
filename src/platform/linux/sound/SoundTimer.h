#pragma once

#include <pulse/mainloop-api.h>

#include <chrono>
#include <functional>
#include <sys/time.h>

namespace quillora::platform {

/// Calls once after a delay, unless it is destroyed before. Sound thread only.
class SoundTimer {
public:
    SoundTimer(pa_mainloop_api *api, std::chrono::milliseconds delay, std::function<void()> action);
    ~SoundTimer();
    SoundTimer(const SoundTimer &) = delete;
    SoundTimer &operator=(const SoundTimer &) = delete;

    /// Another delay, counted from the timer's making as well.
    void setDelay(std::chrono::milliseconds delay);

private:
    pa_mainloop_api *const m_api;
    const timeval m_made;
    std::function<void()> m_action;
    pa_time_event *m_event;
};

} // namespace quillora::platform
