#pragma once

#include "platform/SpeechRecognition.h"
#include "platform/linux/recognition/RecognitionJob.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// A recognition on the recognition thread. Once it is cancelled its handler is not called again.
class PocketSphinxTask : public RecognitionTask {
public:
    explicit PocketSphinxTask(std::shared_ptr<RecognitionJob> job) : m_job(std::move(job)) {}

    void cancel() override { m_job->cancel(); }

private:
    const std::shared_ptr<RecognitionJob> m_job;
};

} // namespace quillora::platform
