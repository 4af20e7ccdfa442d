#include "platform/linux/sound/PulseMicrophone.h"

#include "platform/linux/sound/PulseCapture.h"

namespace quillora::platform {

namespace {

/// Keeps a capture going. Main thread only.
class RunningCapture : public Capture {
public:
    RunningCapture(std::shared_ptr<PulseConnection> connection, MainQueue &mainQueue, quint32 bufferFrames,
                   Microphone::SoundHandler onSound, Microphone::DeathHandler onDeath)
        : m_connection(std::move(connection)),
          m_onDeath(std::make_shared<const Microphone::DeathHandler>(std::move(onDeath))),
          m_capture(std::make_shared<PulseCapture>(*m_connection, bufferFrames, std::move(onSound),
                                                   tellingOnMainThread(mainQueue, m_onDeath))) {
        m_capture->start();
    }
    ~RunningCapture() override { m_capture->stop(); }

private:
    static Microphone::DeathHandler
    tellingOnMainThread(MainQueue &mainQueue, std::weak_ptr<const Microphone::DeathHandler> onDeath) {
        return [&mainQueue, onDeath = std::move(onDeath)](const QString &reason) {
            mainQueue.async([onDeath, reason] {
                if (const auto handler = onDeath.lock()) // none if the capture has ended
                    (*handler)(reason);
            });
        };
    }

    const std::shared_ptr<PulseConnection> m_connection;
    const std::shared_ptr<const Microphone::DeathHandler> m_onDeath;
    const std::shared_ptr<PulseCapture> m_capture;
};

} // namespace

std::unique_ptr<Capture> PulseMicrophone::capture(quint32 bufferFrames, SoundHandler onSound,
                                                  DeathHandler onDeath) {
    return std::make_unique<RunningCapture>(m_connection, m_mainQueue, bufferFrames, std::move(onSound),
                                            std::move(onDeath));
}

} // namespace quillora::platform
