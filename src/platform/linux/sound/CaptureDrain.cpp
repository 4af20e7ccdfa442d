#include "platform/linux/sound/CaptureDrain.h"

#include <utility>

namespace quillora::platform {

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
