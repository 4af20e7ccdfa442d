#include "platform/linux/recognition/SoundQueue.h"

#include <utility>

namespace quillora::platform {

void SoundQueue::append(AudioBuffer buffer) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_state != State::open)
            return;
        m_buffers.push_back(std::move(buffer));
    }
    m_changed.notify_one();
}

void SoundQueue::end() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_state != State::open)
            return;
        m_state = State::ended;
    }
    m_changed.notify_one();
}

void SoundQueue::cancel() {
    {
        const std::lock_guard lock(m_mutex);
        m_state = State::cancelled;
        m_buffers.clear();
    }
    m_changed.notify_one();
}

std::optional<SoundQueue::Portion> SoundQueue::take() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_state != State::open || !m_buffers.empty(); });
    if (m_state == State::cancelled)
        return std::nullopt;
    return Portion{std::exchange(m_buffers, {}), m_state == State::ended};
}

bool SoundQueue::isCancelled() const {
    const std::lock_guard lock(m_mutex);
    return m_state == State::cancelled;
}

} // namespace quillora::platform
