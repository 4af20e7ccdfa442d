#pragma once

#include <QtGlobal>

#include <functional>
#include <vector>

namespace quillora::platform {

struct AudioFormat {
    double sampleRate = 0;    ///< Hz
    quint32 channelCount = 0; ///< 0: there is nothing to record from

    bool operator==(const AudioFormat &) const = default;
};

/// Recorded sound: frames x channels, interleaved, 16-bit signed, full scale 32768.
struct AudioBuffer {
    AudioFormat format;
    std::vector<qint16> samples;

    qsizetype frameCount() const {
        return format.channelCount ? static_cast<qsizetype>(samples.size() / format.channelCount) : 0;
    }
    bool operator==(const AudioBuffer &) const = default;
};

/// The default microphone.
class AudioInputNode {
public:
    /// Called on the engine's own thread with consecutive buffers; must not block.
    using Tap = std::function<void(const AudioBuffer &)>;

    virtual ~AudioInputNode() = default;

    virtual AudioFormat outputFormat(quint32 bus) const = 0;

    /// At most one tap to a bus. `bufferSize` is in frames; the last buffer before a stop may be shorter.
    virtual void installTap(quint32 bus, quint32 bufferSize, const AudioFormat &format, Tap tap) = 0;

    /// Harmless where none is installed.
    virtual void removeTap(quint32 bus) = 0;
};

/// Records the default microphone. Main thread only, but for the tap.
///
/// `stop` ends capture at that moment. What the sound system had captured by then still reaches the tap that
/// was installed, even if it has been removed since, within the microphone's own latency and 100 ms, 500 ms
/// at most; a recognition request that the tap feeds takes its end of audio only after that.
class AudioEngine {
public:
    virtual ~AudioEngine() = default;

    virtual AudioInputNode &inputNode() = 0;
    virtual void prepare() = 0;

    /// Returns once sound is being recorded; throws a LocalizedError if it cannot be. Answers within 2 s.
    virtual void start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
};

} // namespace quillora::platform
