#pragma once

#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "platform/linux/sound/DesktopSpeechPermissions.h"
#include "platform/linux/sound/PulseMicrophone.h"

#include <memory>
#include <string>

namespace quillora::test {

/// A desktop with the real sound and recognition in real time; the rest is fake.
class SpeechDesktop : public FakePlatform {
public:
    /// `server` is as in PULSE_SERVER.
    explicit SpeechDesktop(const std::string &server,
                           const QStringList &folders = platform::PocketSphinxData::standardFolders())
        : connection(std::make_shared<platform::PulseConnection>(server)), m_permissions(connection, m_queue),
          m_microphone(connection, m_queue),
          m_recognizers(connection->drain(), QUILLORA_RECOGNIZER, folders) {}

    platform::MainQueue &mainQueue() override { return m_queue; }
    platform::SpeechPermissions &speechPermissions() override { return m_permissions; }
    platform::Microphone &microphone() override { return m_microphone; }
    platform::SpeechRecognizers &speechRecognizers() override { return m_recognizers; }

    const std::shared_ptr<platform::PulseConnection> connection;

private:
    platform::LinuxMainQueue m_queue;
    platform::DesktopSpeechPermissions m_permissions;
    platform::PulseMicrophone m_microphone;
    platform::PocketSphinxRecognizers m_recognizers;
};

} // namespace quillora::test
