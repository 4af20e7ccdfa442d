#pragma once

#include "platform/SpeechRecognition.h"
#include "platform/linux/recognition/RecognitionThread.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// A handle on the recognition thread; it may listen while the model is still being loaded.
class PocketSphinxRecognizer : public SpeechRecognizer {
public:
    explicit PocketSphinxRecognizer(std::weak_ptr<RecognitionThread> thread) : m_thread(std::move(thread)) {}

    /// False where the model could not be loaded.
    bool isAvailable() const override;

    /// `request` must come from the same PocketSphinxRecognition.
    std::unique_ptr<RecognitionTask>
    recognitionTask(const std::shared_ptr<AudioBufferRecognitionRequest> &request,
                    RecognitionResultHandler handler) override;

private:
    const std::weak_ptr<RecognitionThread> m_thread;
};

} // namespace quillora::platform
