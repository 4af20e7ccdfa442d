#include "platform/linux/sound/SoundTimer.h"

#include <pulse/timeval.h>

#include <utility>

namespace quillora::platform {

SoundTimer::SoundTimer(pa_mainloop_api *api, std::chrono::milliseconds delay, std::function<void()> action)
    : m_api(api), m_action(std::move(action)) {
    timeval due{};
    pa_timeval_add(pa_gettimeofday(&due), static_cast<pa_usec_t>(std::chrono::microseconds(delay).count()));
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

} // namespace quillora::platform
