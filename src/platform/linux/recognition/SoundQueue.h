#pragma once

#include "platform/AudioBuffer.h"
#include "platform/linux/recognition/WakeUp.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace quillora::platform {

/// Sound on its way from the capture to the recognizer's thread, which is woken for it. Any thread.
class SoundQueue {
public:
    enum class State { open, ended, cancelled };
    struct Portion {
        std::vector<AudioBuffer> buffers; ///< all that has come since the last portion
        State state = State::open;        ///< of the queue behind them
    };

    explicit SoundQueue(std::shared_ptr<WakeUp> reader) : m_reader(std::move(reader)) {}

    /// Ignored once the queue has ended or was cancelled.
    void append(AudioBuffer buffer);

    /// No more sound will come.
    void end();

    /// Nobody wants the rest.
    void cancel();

    /// What is there; waits for nothing.
    Portion take();

private:
    const std::shared_ptr<WakeUp> m_reader;
    std::mutex m_mutex;
    State m_state = State::open;
    std::vector<AudioBuffer> m_buffers;
};

} // namespace quillora::platform
