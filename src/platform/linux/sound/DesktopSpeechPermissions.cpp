#include "platform/linux/sound/DesktopSpeechPermissions.h"

#include <utility>

namespace quillora::platform {

DesktopSpeechPermissions::DesktopSpeechPermissions(std::shared_ptr<PulseConnection> sound,
                                                   MainQueue &mainQueue)
    : m_sound(std::move(sound)), m_mainQueue(mainQueue) {}

void DesktopSpeechPermissions::requestSpeechRecognition(Reply reply) {
    m_mainQueue.async([reply = std::move(reply)] { reply(true); });
}

void DesktopSpeechPermissions::requestMicrophone(Reply reply) {
    // The replies stay on the main thread: what they hold may only be touched and let go there.
    m_replies->push_back(std::move(reply));
    m_sound->refresh([this, &mainQueue = m_mainQueue, replies = std::weak_ptr(m_replies)] {
        mainQueue.async([this, replies] {
            const auto waiting = replies.lock(); // none if this has ended
            if (!waiting)
                return;
            const bool isGranted = m_microphoneSwitch.allowsRecording();
            for (const auto &answer : std::exchange(*waiting, {}))
                answer(isGranted);
        });
    });
}

} // namespace quillora::platform
