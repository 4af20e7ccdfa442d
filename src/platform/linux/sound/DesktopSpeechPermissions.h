#pragma once

#include "platform/MainQueue.h"
#include "platform/SpeechPermissions.h"
#include "platform/linux/sound/MicrophoneSwitch.h"
#include "platform/linux/sound/PulseConnection.h"

#include <memory>
#include <vector>

namespace quillora::platform {

/// What the desktop says about listening. To recognize speech needs nobody's leave.
class DesktopSpeechPermissions : public SpeechPermissions {
public:
    /// `mainQueue` outlives it.
    DesktopSpeechPermissions(std::shared_ptr<PulseConnection> sound, MainQueue &mainQueue);

    void requestSpeechRecognition(Reply reply) override;

    /// The reply comes once the sound server has answered, or after 500 ms. Denied if the user has switched
    /// the microphone off for applications. Granted even where there is no server: that shows as an input
    /// format without channels.
    void requestMicrophone(Reply reply) override;

private:
    const std::shared_ptr<PulseConnection> m_sound;
    MainQueue &m_mainQueue;
    const MicrophoneSwitch m_microphoneSwitch;
    const std::shared_ptr<std::vector<Reply>> m_replies = std::make_shared<std::vector<Reply>>();
};

} // namespace quillora::platform
