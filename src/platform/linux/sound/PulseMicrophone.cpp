#include "platform/linux/sound/PulseMicrophone.h"

#include "platform/linux/sound/PulseCapture.h"

namespace quillora::platform {

namespace {

/// Keeps a capture going.
class RunningCapture : public Capture {
public:
    RunningCapture(std::shared_ptr<PulseConnection> connection, quint32 bufferFrames,
                   Microphone::SoundHandler onSound)
        : m_connection(std::move(connection)),
          m_capture(std::make_shared<PulseCapture>(*m_connection, bufferFrames, std::move(onSound))) {
        m_capture->start();
    }
    ~RunningCapture() override { m_capture->stop(); }

private:
    const std::shared_ptr<PulseConnection> m_connection;
    const std::shared_ptr<PulseCapture> m_capture;
};

} // namespace

std::unique_ptr<Capture> PulseMicrophone::capture(quint32 bufferFrames, SoundHandler onSound) {
    return std::make_unique<RunningCapture>(m_connection, bufferFrames, std::move(onSound));
}

} // namespace quillora::platform
