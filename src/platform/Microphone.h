#pragma once

#include "platform/AudioBuffer.h"

#include <QString>

#include <functional>
#include <memory>

namespace quillora::platform {

/// A recording of the microphone: sound is captured for as long as this lives, unless the recording dies.
/// Then there is no more of it, and all else is as ever.
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

    /// Called at most once, on the main thread, when the recording has died, and never after its capture has
    /// ended. `reason` is a sentence for the user; it may come up to 6 s late where sound only stays away,
    /// and comes within a second otherwise.
    using DeathHandler = std::function<void(const QString &reason)>;

    virtual ~Microphone() = default;

    /// No channels where there is none.
    virtual AudioFormat format() const = 0;

    /// Returns once sound is being recorded, in the microphone's own format; throws a LocalizedError if it
    /// cannot be. Answers within 2 s. Each buffer has `bufferFrames` frames, but the last may be shorter.
    virtual std::unique_ptr<Capture> capture(quint32 bufferFrames, SoundHandler onSound,
                                             DeathHandler onDeath) = 0;
};

} // namespace quillora::platform
