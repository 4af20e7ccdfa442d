#include "platform/linux/sound/SoundTimer.h"

#include <pulse/timeval.h>

#include <utility>

namespace quillora::platform {

namespace {

timeval now() {
    timeval time{};
    pa_gettimeofday(&time);
    return time;
}

timeval after(timeval time, std::chrono::milliseconds delay) {
    pa_timeval_add(&time, static_cast<pa_usec_t>(std::chrono::microseconds(delay).count()));
    return time;
}

} // namespace

SoundTimer::SoundTimer(pa_mainloop_api *api, std::chrono::milliseconds delay, std::function<void()> action)
    : m_api(api), m_made(now()), m_action(std::move(action)) {
    const timeval due = after(m_made, delay);
    m_event = m_api->time_new(
        m_api, &due,
        [](pa_mainloop_api *, pa_time_event *, const timeval *, void *self) {
            // The action may destroy this timer.
            const auto run = std::exchange(static_cast<SoundTimer *>(self)->m_action, nullptr);
            run();
        },
        this);
}

SoundTimer::~SoundTimer() { m_api->time_free(m_event); }

void SoundTimer::setDelay(std::chrono::milliseconds delay) {
    const timeval due = after(m_made, delay);
    m_api->time_restart(m_event, &due);
}

} // namespace quillora::platform
