#include "platform/linux/recognition/PocketSphinxRecognizer.h"

#include "platform/linux/recognition/PocketSphinxRecognition.h"

namespace quillora::platform {

bool PocketSphinxRecognizer::isAvailable() const {
    const auto thread = m_thread.lock();
    return thread && thread->modelState() != RecognitionThread::ModelState::failed;
}

std::shared_ptr<Recognition> PocketSphinxRecognizer::recognize(RecognitionHandler handler) {
    auto job = std::make_shared<RecognitionJob>(std::move(handler));
    if (const auto thread = m_thread.lock())
        thread->recognize(job);
    return std::make_shared<PocketSphinxRecognition>(std::move(job), m_drain);
}

} // namespace quillora::platform
