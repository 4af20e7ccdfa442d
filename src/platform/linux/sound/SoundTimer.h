#pragma once

#include <pulse/mainloop-api.h>

#include <chrono>
#include <functional>

namespace quillora::platform {

/// Calls once after a delay, unless it is destroyed before. Sound thread only.
class SoundTimer {
public:
    SoundTimer(pa_mainloop_api *api, std::chrono::milliseconds delay, std::function<void()> action);
    ~SoundTimer();
    SoundTimer(const SoundTimer &) = delete;
    SoundTimer &operator=(const SoundTimer &) = delete;

private:
    pa_mainloop_api *const m_api;
    std::function<void()> m_action;
    pa_time_event *m_event;
};

} // namespace quillora::platform
