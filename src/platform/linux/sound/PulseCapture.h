#pragma once

#include "platform/AudioEngine.h"
#include "platform/linux/sound/CaptureDrain.h"
#include "platform/linux/sound/SoundTimer.h"

#include <QString>

#include <pulse/stream.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace quillora::platform {

class PulseConnection;

/// One recording of the default source, from its start until all that was captured before its stop has been
/// handed over. Main thread only, but for `close`.
class PulseCapture : public std::enable_shared_from_this<PulseCapture> {
public:
    using Tap = AudioInputNode::Tap;

    /// `connection` must outlive the recording's start and stop; `bufferFrames` is what the tap gets at once.
    PulseCapture(PulseConnection &connection, const AudioFormat &format, quint32 bufferFrames, Tap tap);
    ~PulseCapture();

    /// Returns once sound is being recorded; throws a LocalizedError if it cannot be, after 2 s at the
    /// latest.
    void start();

    /// From the return on, only `tap` is called.
    void setTap(Tap tap);

    /// Returns at once. What has been captured by now still reaches the tap, for as long as
    /// CaptureDrain::timeLimit allows, and holds back the end of audio meanwhile.
    void stop();

    /// Ends everything and hands over what has arrived. Sound thread only.
    void close();

private:
    enum class Opening { underWay, succeeded, failed };

    void open();
    void finishOpening(Opening outcome, const QString &reason = {});
    void streamStateChanged();
    void read();
    void take(const void *data, size_t byteCount);
    void deliver();
    void beginDrain(std::shared_ptr<CaptureDrain::Hold> hold);
    void learnDrainTarget();
    bool isDrained() const { return m_drainTarget && m_taken >= *m_drainTarget; }

    PulseConnection &m_connection;
    const AudioFormat m_format;
    const pa_sample_spec m_sampleSpec;
    const quint32 m_bufferFrames;

    std::mutex m_mutex;
    std::condition_variable m_openingChanged;
    Opening m_opening = Opening::underWay;
    QString m_failure;
    Tap m_tap;

    // Of the sound thread.
    pa_stream *m_stream = nullptr;
    AudioBuffer m_pending;                      ///< what the tap gets next
    quint64 m_taken = 0;                        ///< bytes read from the stream
    std::optional<quint64> m_drainTarget;       ///< bytes captured by the stop
    std::optional<SoundTimer> m_drainDeadline;  ///< only after the stop
    pa_operation *m_timingQuery = nullptr;      ///< only after the stop
    std::shared_ptr<CaptureDrain::Hold> m_hold; ///< only after the stop
};

} // namespace quillora::platform
