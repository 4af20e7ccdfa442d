#include "platform/linux/recognition/SoundQueue.h"

namespace quillora::platform {

void SoundQueue::append(AudioBuffer buffer) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_state != State::open)
            return;
        m_buffers.push_back(std::move(buffer));
    }
    m_reader->wake();
}

void SoundQueue::end() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_state != State::open)
            return;
        m_state = State::ended;
    }
    m_reader->wake();
}

void SoundQueue::cancel() {
    {
        const std::lock_guard lock(m_mutex);
        m_state = State::cancelled;
        m_buffers.clear();
    }
    m_reader->wake();
}

SoundQueue::Portion SoundQueue::take() {
    const std::lock_guard lock(m_mutex);
    return {std::exchange(m_buffers, {}), m_state};
}

} // namespace quillora::platform
