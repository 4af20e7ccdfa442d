#include "platform/linux/sound/CaptureDrain.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

CaptureDrain::Hold::Hold(std::shared_ptr<CaptureDrain> drain) : m_drain(std::move(drain)) {
    const std::lock_guard lock(m_drain->m_mutex);
    ++m_drain->m_holds;
}

CaptureDrain::Hold::~Hold() {
    std::vector<std::function<void()>> actions;
    {
        const std::lock_guard lock(m_drain->m_mutex);
        if (--m_drain->m_holds == 0)
            actions.swap(m_drain->m_actions);
    }
    for (const auto &action : actions)
        action();
}

std::chrono::milliseconds CaptureDrain::timeLimit(std::chrono::microseconds sourceLatency) {
    constexpr auto allowance = 100ms, limit = 500ms;
    return std::min(std::chrono::ceil<std::chrono::milliseconds>(sourceLatency), limit - allowance) +
           allowance;
}

void CaptureDrain::whenDrained(std::function<void()> action) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_holds > 0) {
            m_actions.push_back(std::move(action));
            return;
        }
    }
    action();
}

} // namespace quillora::platform
