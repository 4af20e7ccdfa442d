#pragma once

#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/RecognitionJob.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// A recognition in the recognizer's process. Sound may be of any format. Once it is cancelled its handler is
/// not called again.
class ProcessRecognition : public Recognition {
public:
    ProcessRecognition(std::shared_ptr<RecognitionJob> job, std::shared_ptr<CaptureDrain> drain)
        : m_job(std::move(job)), m_drain(std::move(drain)) {}
    ~ProcessRecognition() override { m_job->sound().end(); }
    ProcessRecognition(const ProcessRecognition &) = delete;
    ProcessRecognition &operator=(const ProcessRecognition &) = delete;

    void append(AudioBuffer buffer) override { m_job->sound().add(std::move(buffer)); }
    void endAudio() override {
        m_drain->whenDrained([job = m_job] { job->sound().end(); });
    }
    void cancel() override { m_job->cancel(); }

private:
    const std::shared_ptr<RecognitionJob> m_job;
    const std::shared_ptr<CaptureDrain> m_drain;
};

} // namespace quillora::platform
