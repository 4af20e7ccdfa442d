#pragma once

#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/SoundQueue.h"

#include <atomic>
#include <utility>

namespace quillora::platform {

/// One recognition on its way through the recognition thread.
class RecognitionJob {
public:
    explicit RecognitionJob(RecognitionHandler handler) : m_handler(std::move(handler)) {}

    SoundQueue &sound() { return m_sound; }

    /// Nobody wants the outcome any more: the handler is not called again. Any thread.
    void cancel() {
        m_isCancelled = true;
        m_sound.cancel();
    }

    /// The work ends; the handler is told by an error. Any thread.
    void abort() { m_sound.cancel(); }

    void report(const RecognitionResult &result) {
        if (!m_isCancelled)
            m_handler(result, std::nullopt);
    }
    void report(const LocalizedError &error) {
        if (!m_isCancelled)
            m_handler(std::nullopt, error);
    }

private:
    SoundQueue m_sound;
    const RecognitionHandler m_handler;
    std::atomic<bool> m_isCancelled = false;
};

} // namespace quillora::platform
