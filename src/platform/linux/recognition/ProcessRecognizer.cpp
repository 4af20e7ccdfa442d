#include "platform/linux/recognition/ProcessRecognizer.h"

#include "platform/linux/recognition/ProcessRecognition.h"

using namespace Qt::StringLiterals;

namespace quillora::platform {

bool ProcessRecognizer::isAvailable() const {
    const auto client = m_client.lock();
    return client && client->modelState() != RecognizerClient::ModelState::failed;
}

std::shared_ptr<Recognition> ProcessRecognizer::recognize(RecognitionHandler handler) {
    std::shared_ptr<RecognitionJob> job;
    if (const auto client = m_client.lock()) {
        job = client->recognize(std::move(handler));
    } else {
        job = std::make_shared<RecognitionJob>(std::make_shared<WakeUp>(), std::move(handler));
        job->fail(LocalizedError(u"Speech recognition was ended."_s));
    }
    return std::make_shared<ProcessRecognition>(std::move(job), m_drain);
}

} // namespace quillora::platform
