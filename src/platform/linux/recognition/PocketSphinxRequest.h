#pragma once

#include "platform/SpeechRecognition.h"
#include "platform/linux/recognition/SoundQueue.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// A stream of sound of any format. It ends with endAudio, or when it is dropped.
class PocketSphinxRequest : public AudioBufferRecognitionRequest {
public:
    explicit PocketSphinxRequest(std::shared_ptr<CaptureDrain> drain) : m_drain(std::move(drain)) {}
    ~PocketSphinxRequest() override { m_sound->end(); }

    void append(const AudioBuffer &buffer) override { m_sound->append(buffer); }
    void endAudio() override {
        m_drain->whenDrained([sound = m_sound] { sound->end(); });
    }

    const std::shared_ptr<SoundQueue> &sound() const { return m_sound; }

private:
    const std::shared_ptr<CaptureDrain> m_drain;
    const std::shared_ptr<SoundQueue> m_sound = std::make_shared<SoundQueue>();
};

} // namespace quillora::platform
