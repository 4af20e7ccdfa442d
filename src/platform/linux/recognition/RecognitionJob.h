#pragma once

#include "platform/AudioBuffer.h"
#include "platform/SpeechRecognizers.h"
#include "platform/linux/HandOver.h"

#include <atomic>
#include <memory>
#include <utility>

namespace quillora::platform {

/// Sound on its way from the capture to the recognizer's thread.
using SoundQueue = HandOver<AudioBuffer>;

/// What of a recognition its user and the recognizer's thread have in common.
class RecognitionJob {
public:
    RecognitionJob(std::shared_ptr<WakeUp> recognizer, RecognitionHandler handler)
        : m_sound(std::move(recognizer)), m_handler(std::move(handler)) {}

    SoundQueue &sound() { return m_sound; }

    /// Nobody wants the outcome any more: the handler is not called again. Any thread.
    void cancel() {
        m_isCancelled = true;
        m_sound.abandon();
    }

    /// There is an error, and nobody reads the sound any more.
    void fail(const LocalizedError &error) {
        m_sound.abandon();
        report(error);
    }

    void report(const RecognitionResult &result) {
        if (!m_isCancelled)
            m_handler(result, std::nullopt);
    }

private:
    void report(const LocalizedError &error) {
        if (!m_isCancelled)
            m_handler(std::nullopt, error);
    }

    SoundQueue m_sound;
    const RecognitionHandler m_handler;
    std::atomic<bool> m_isCancelled = false;
};

} // namespace quillora::platform
