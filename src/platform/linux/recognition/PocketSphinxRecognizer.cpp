#include "platform/linux/recognition/PocketSphinxRecognizer.h"

#include "platform/linux/recognition/PocketSphinxRequest.h"
#include "platform/linux/recognition/PocketSphinxTask.h"

namespace quillora::platform {

bool PocketSphinxRecognizer::isAvailable() const {
    const auto thread = m_thread.lock();
    return thread && thread->modelState() != RecognitionThread::ModelState::failed;
}

std::unique_ptr<RecognitionTask>
PocketSphinxRecognizer::recognitionTask(const std::shared_ptr<AudioBufferRecognitionRequest> &request,
                                        RecognitionResultHandler handler) {
    const auto &sound = std::static_pointer_cast<PocketSphinxRequest>(request)->sound();
    auto job =
        std::make_shared<RecognitionJob>(sound, request->shouldReportPartialResults, std::move(handler));
    if (const auto thread = m_thread.lock())
        thread->recognize(job);
    return std::make_unique<PocketSphinxTask>(std::move(job));
}

} // namespace quillora::platform
