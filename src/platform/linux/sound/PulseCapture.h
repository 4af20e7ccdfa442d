#pragma once

#include "platform/Microphone.h"
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
    /// `connection` must outlive the recording's start and stop; `bufferFrames` is what the handler gets at
    /// once. `onDeath` is called on the sound thread if the recording ends by itself, or if no sound comes
    /// for 5 s.
    PulseCapture(PulseConnection &connection, quint32 bufferFrames, Microphone::SoundHandler onSound,
                 Microphone::DeathHandler onDeath);
    ~PulseCapture();

    /// Returns once sound is being recorded; throws a LocalizedError if it cannot be, after 2 s at the
    /// latest.
    void start();

    /// Returns at once. What has been captured by now still reaches the handler, for as long as
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
    void watch();
    void die(const QString &reason);
    void beginDrain(std::shared_ptr<CaptureDrain::Hold> hold);
    void learnDrainTarget();
    bool isDrained() const { return m_drainTarget && m_taken >= *m_drainTarget; }

    PulseConnection &m_connection;
    const quint32 m_bufferFrames;

    std::mutex m_mutex;
    std::condition_variable m_openingChanged;
    Opening m_opening = Opening::underWay;
    QString m_failure;

    // Of the sound thread.
    pa_stream *m_stream = nullptr;
    pa_sample_spec m_sampleSpec{};
    Microphone::SoundHandler m_onSound;
    Microphone::DeathHandler m_onDeath;
    AudioBuffer m_pending;                      ///< what the handler gets next
    quint64 m_taken = 0;                        ///< bytes read from the stream
    std::optional<SoundTimer> m_watch;          ///< from the first moment to the stop
    int m_silentIntervals = 0;                  ///< since the last sound
    std::optional<quint64> m_drainTarget;       ///< bytes captured by the stop
    std::optional<SoundTimer> m_drainDeadline;  ///< only after the stop
    pa_operation *m_timingQuery = nullptr;      ///< only after the stop
    std::shared_ptr<CaptureDrain::Hold> m_hold; ///< only after the stop
};

} // namespace quillora::platform
