#pragma once

#include "recognizer/Decoder.h"
#include "recognizer/SpeechLevel.h"
#include "recognizer/sherpa/SherpaLibrary.h"
#include "recognizer/sherpa/SherpaObjects.h"

#include <string>
#include <vector>

namespace quillora::recognizer {

/// A model of sherpa-onnx that decodes sound as it comes, in steps of its own.
class SherpaStreamingDecoder : public Decoder {
public:
    /// Throws LoadFailure. `language` is given to each stream, unless it is empty.
    SherpaStreamingDecoder(const SherpaLibrary &library, const sherpa::OnlineConfiguration &configuration,
                           std::string language);

    void beginUtterance() override;
    void accept(std::span<const std::int16_t> samples) override;
    bool hearsSpeech() override { return m_level.hearsSpeech(); }
    void endUtterance() override;
    std::string text() override { return m_text; }

private:
    sherpa::Owned<sherpa::OnlineStream> makeStream() const;
    std::size_t samplesOfOneStep();
    void decode();

    const SherpaLibrary m_library;
    const std::string m_language;
    sherpa::Owned<sherpa::OnlineRecognizer> m_recognizer;
    std::vector<float> m_padding; ///< silence that makes the model decode the last of the speech
    sherpa::Owned<sherpa::OnlineStream> m_stream;
    std::vector<float> m_samples;
    SpeechLevel m_level;
    std::string m_text;
};

} // namespace quillora::recognizer
