#include "platform/linux/sound/PulseCapture.h"

#include "platform/LocalizedError.h"
#include "platform/linux/sound/PulseConnection.h"

#include <pulse/channelmap.h>
#include <pulse/def.h>
#include <pulse/operation.h>
#include <pulse/sample.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

namespace {

constexpr auto startLimit = 2s;
constexpr std::chrono::microseconds fragmentLength = 20ms;

/// A recording is dead once no sound has come for that many intervals after the one with the last. They are
/// counted one by one because the clock jumps when a computer wakes up.
constexpr auto watchInterval = 500ms;
constexpr int longestSilence = 10;

pa_sample_spec sampleSpec(const AudioFormat &format) {
    return {PA_SAMPLE_S16NE, static_cast<quint32>(format.sampleRate),
            static_cast<quint8>(format.channelCount)};
}

/// The library's own sentences come in the language of the session, ours in English.
QString openingFailure(int error) {
    switch (error) {
    case PA_ERR_NOENTITY:
        return QStringLiteral("There is no microphone.");
    case PA_ERR_ACCESS:
        return QStringLiteral("The sound server denies access to the microphone.");
    default:
        return QStringLiteral("The microphone cannot be opened (error %1).").arg(error);
    }
}

QString serverUnreachable() { return QStringLiteral("The sound server cannot be reached."); }

} // namespace

PulseCapture::PulseCapture(PulseConnection &connection, quint32 bufferFrames,
                           Microphone::SoundHandler onSound, Microphone::DeathHandler onDeath)
    : m_connection(connection), m_bufferFrames(bufferFrames), m_onSound(std::move(onSound)),
      m_onDeath(std::move(onDeath)) {}

PulseCapture::~PulseCapture() = default;

void PulseCapture::start() {
    m_connection.thread().post([self = shared_from_this()] { self->open(); });

    std::unique_lock lock(m_mutex);
    const bool isDecided =
        m_openingChanged.wait_for(lock, startLimit, [this] { return m_opening != Opening::underWay; });
    if (!isDecided) {
        m_connection.thread().post([self = shared_from_this()] { self->close(); });
        throw LocalizedError(QStringLiteral("The sound server does not answer."));
    }
    if (m_opening == Opening::failed)
        throw LocalizedError(m_failure);
}

void PulseCapture::stop() {
    m_connection.thread().post(
        [self = shared_from_this(), hold = std::make_shared<CaptureDrain::Hold>(m_connection.drain())] {
            self->beginDrain(hold);
        });
}

void PulseCapture::open() {
    auto *context = m_connection.readyContext();
    if (!context) {
        finishOpening(Opening::failed, serverUnreachable());
        return;
    }
    // What was asked for its format, even if another one has become the default since.
    const std::string &source = m_connection.sourceName();
    if (source.empty()) {
        finishOpening(Opening::failed, openingFailure(PA_ERR_NOENTITY));
        return;
    }
    m_pending.format = m_connection.inputFormat();
    m_sampleSpec = sampleSpec(m_pending.format);
    // In another map than its own the source's channels would be mixed, or lost for want of a like place.
    m_stream = pa_stream_new(context, "Dictation", &m_sampleSpec, &m_connection.channelMap());
    if (!m_stream) {
        finishOpening(Opening::failed, QStringLiteral("The microphone's sound format cannot be recorded."));
        return;
    }
    m_connection.adopt(shared_from_this());
    pa_stream_set_state_callback(
        m_stream,
        [](pa_stream *, void *self) {
            static_cast<PulseCapture *>(self)->shared_from_this()->streamStateChanged();
        },
        this);
    pa_stream_set_read_callback(
        m_stream,
        [](pa_stream *, size_t, void *self) {
            static_cast<PulseCapture *>(self)->shared_from_this()->read();
        },
        this);

    pa_buffer_attr buffering{};
    buffering.maxlength = static_cast<quint32>(-1);
    buffering.fragsize =
        static_cast<quint32>(pa_usec_to_bytes(static_cast<pa_usec_t>(fragmentLength.count()), &m_sampleSpec));
    // A microphone that is unplugged must not be replaced by another one in mid-sentence.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(m_stream, source.c_str(), &buffering, flags) < 0)
        streamStateChanged();
}

void PulseCapture::finishOpening(Opening outcome, const QString &reason) {
    {
        const std::lock_guard lock(m_mutex);
        m_opening = outcome;
        m_failure = reason;
    }
    m_openingChanged.notify_all();
}

void PulseCapture::streamStateChanged() {
    const auto state = pa_stream_get_state(m_stream);
    if (state == PA_STREAM_READY) {
        finishOpening(Opening::succeeded);
        watch();
        return;
    }
    if (PA_STREAM_IS_GOOD(state))
        return;

    const bool hasRecorded = [this] {
        const std::lock_guard lock(m_mutex);
        return m_opening == Opening::succeeded;
    }();
    const bool hasServer = m_connection.readyContext();
    if (hasRecorded) {
        die(hasServer ? QStringLiteral("The microphone was disconnected.")
                      : QStringLiteral("The sound server went away."));
        return;
    }
    const auto failure =
        hasServer ? openingFailure(pa_context_errno(pa_stream_get_context(m_stream))) : serverUnreachable();
    close();
    finishOpening(Opening::failed, failure);
}

void PulseCapture::watch() {
    m_watch.emplace(m_connection.thread().api(), watchInterval, [this] {
        if (++m_silentIntervals > longestSilence)
            die(QStringLiteral("No sound has come from the microphone for 5 seconds."));
        else
            watch();
    });
}

void PulseCapture::die(const QString &reason) {
    const auto onDeath = std::exchange(m_onDeath, nullptr);
    close();
    onDeath(reason);
}

void PulseCapture::read() {
    const void *data = nullptr;
    size_t byteCount = 0;
    while (m_stream && pa_stream_peek(m_stream, &data, &byteCount) == 0 && byteCount > 0) {
        take(data, byteCount);
        pa_stream_drop(m_stream);
        if (isDrained())
            close();
    }
}

void PulseCapture::take(const void *data, size_t byteCount) {
    m_silentIntervals = 0;
    if (m_drainTarget)
        byteCount = std::min<size_t>(byteCount, *m_drainTarget - std::min(m_taken, *m_drainTarget));
    m_taken += byteCount;

    const auto *samples = static_cast<const qint16 *>(data);
    size_t left = byteCount / sizeof(qint16);
    const size_t bufferSamples = size_t{m_bufferFrames} * m_sampleSpec.channels;
    while (left > 0) {
        const size_t count = std::min(left, bufferSamples - m_pending.samples.size());
        // A hole in the stream has a length but no data; it is silence.
        if (samples) {
            m_pending.samples.insert(m_pending.samples.end(), samples, samples + count);
            samples += count;
        } else {
            m_pending.samples.insert(m_pending.samples.end(), count, 0);
        }
        left -= count;
        if (m_pending.samples.size() == bufferSamples)
            deliver();
    }
}

void PulseCapture::deliver() {
    if (m_pending.samples.empty())
        return;
    AudioBuffer next{m_pending.format, {}};
    next.samples.reserve(m_pending.samples.capacity());
    m_onSound(std::exchange(m_pending, std::move(next)));
}

void PulseCapture::beginDrain(std::shared_ptr<CaptureDrain::Hold> hold) {
    m_hold = std::move(hold);
    m_watch.reset();
    if (!m_stream) {
        close();
        return;
    }
    m_drainDeadline.emplace(m_connection.thread().api(), CaptureDrain::timeLimit(0us), [this] { close(); });
    m_timingQuery = pa_stream_update_timing_info(
        m_stream,
        [](pa_stream *, int isKnown, void *self) {
            const auto capture = static_cast<PulseCapture *>(self)->shared_from_this();
            if (isKnown)
                capture->learnDrainTarget();
        },
        this);
}

void PulseCapture::learnDrainTarget() {
    const auto *timing = pa_stream_get_timing_info(m_stream);
    if (!timing || timing->write_index_corrupt)
        return;
    // A source that hands over in portions has captured little just after one, and yet the next is far off.
    const auto latency = std::max(timing->source_usec, timing->configured_source_usec);
    m_drainDeadline->setDelay(CaptureDrain::timeLimit(std::chrono::microseconds(latency)));
    // What the server has recorded for us, and what still is in the device's buffer.
    m_drainTarget = static_cast<quint64>(std::max<int64_t>(timing->write_index, 0)) +
                    pa_usec_to_bytes(timing->source_usec, &m_sampleSpec);
    if (isDrained())
        close();
}

void PulseCapture::close() {
    m_watch.reset();
    m_drainDeadline.reset();
    if (auto *query = std::exchange(m_timingQuery, nullptr)) {
        // A stream that has ended does not call off its queries by itself.
        pa_operation_cancel(query);
        pa_operation_unref(query);
    }
    deliver();
    m_onSound = nullptr;
    if (auto *stream = std::exchange(m_stream, nullptr)) {
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_set_read_callback(stream, nullptr, nullptr);
        const bool isBeingMade = pa_stream_get_state(stream) == PA_STREAM_CREATING;
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
        // The server would go on to make the stream, and nobody would ever end it.
        if (isBeingMade)
            m_connection.disconnect();
    }
    m_hold.reset();
    m_connection.release(shared_from_this());
}

} // namespace quillora::platform
