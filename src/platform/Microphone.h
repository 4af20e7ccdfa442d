#pragma once

#include "platform/AudioBuffer.h"

#include <functional>
#include <memory>

namespace quillora::platform {

/// A recording of the microphone: sound is captured for as long as this lives.
///
/// What the sound system had captured by its end still reaches the handler after it, within the microphone's
/// own latency and 100 ms, 500 ms at most; a recognition that is fed by it takes its end of audio only then.
class Capture {
public:
    Capture() = default;
    virtual ~Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
};

/// The default microphone. Main thread only.
class Microphone {
public:
    /// Called on a thread of the microphone's own with consecutive buffers; must not block.
    using SoundHandler = std::function<void(AudioBuffer)>;

    virtual ~Microphone() = default;

    /// No channels where there is none.
    virtual AudioFormat format() const = 0;

    /// Returns once sound is being recorded, in the microphone's own format; throws a LocalizedError if it
    /// cannot be. Answers within 2 s. Each buffer has `bufferFrames` frames, but the last may be shorter.
    virtual std::unique_ptr<Capture> capture(quint32 bufferFrames, SoundHandler onSound) = 0;
};

} // namespace quillora::platform
