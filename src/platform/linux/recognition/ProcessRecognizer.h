#pragma once

#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// A handle on the recognizer; it may listen while the model is still being loaded.
class ProcessRecognizer : public SpeechRecognizer {
public:
    ProcessRecognizer(std::weak_ptr<RecognizerClient> client, std::shared_ptr<CaptureDrain> drain)
        : m_client(std::move(client)), m_drain(std::move(drain)) {}

    /// False where the model could not be loaded.
    bool isAvailable() const override;
    std::shared_ptr<Recognition> recognize(RecognitionHandler handler) override;

private:
    const std::weak_ptr<RecognizerClient> m_client;
    const std::shared_ptr<CaptureDrain> m_drain;
};

} // namespace quillora::platform
