#pragma once

#include "platform/AudioBuffer.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace quillora::platform {

/// Sound on its way from the capture to the recognizer. Nothing is lost however far the recognizer is behind.
/// Any thread.
class SoundQueue {
public:
    struct Portion {
        std::vector<AudioBuffer> buffers; ///< all that has come since the last portion
        bool isLast = false;
    };

    /// Ignored once the queue has ended or was cancelled.
    void append(AudioBuffer buffer);

    /// No more sound will come.
    void end();

    /// Nobody wants the rest.
    void cancel();

    /// Waits for sound or for the end of it; none once the queue was cancelled.
    std::optional<Portion> take();

    bool isCancelled() const;

private:
    enum class State { open, ended, cancelled };

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    State m_state = State::open;
    std::vector<AudioBuffer> m_buffers;
};

} // namespace quillora::platform
