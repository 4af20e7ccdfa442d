#pragma once

#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/recognition/PocketSphinxRecognition.h"
#include "platform/linux/sound/PulseConnection.h"

#include <memory>
#include <string>

namespace quillora::test {

/// A desktop with the real sound and recognition in real time; the rest is fake.
class SpeechDesktop : public FakePlatform {
public:
    /// `server` is as in PULSE_SERVER.
    explicit SpeechDesktop(const std::string &server,
                           const QStringList &folders = platform::PocketSphinxData::standardFolders())
        : connection(std::make_shared<platform::PulseConnection>(server)), recognition(connection, folders) {}

    platform::MainQueue &mainQueue() override { return m_queue; }
    platform::SpeechRecognition &speechRecognition() override { return recognition; }

private:
    platform::LinuxMainQueue m_queue;

public:
    std::shared_ptr<platform::PulseConnection> connection;
    platform::PocketSphinxRecognition recognition;
};

} // namespace quillora::test
