#pragma once

#include "recognizer/Decoder.h"
#include "recognizer/SpeechLevel.h"
#include "recognizer/sherpa/DecodingPace.h"
#include "recognizer/sherpa/SherpaLibrary.h"
#include "recognizer/sherpa/SherpaObjects.h"
#include "recognizer/sherpa/SherpaSpeechDetector.h"

#include <memory>
#include <string>
#include <vector>

namespace quillora::recognizer {

/// A model of sherpa-onnx that decodes a whole segment at a time. While somebody speaks the segment is
/// decoded again and again as it grows, as often as the computer allows.
class SherpaOfflineDecoder : public Decoder {
public:
    /// Throws LoadFailure. No segment is longer than so many samples. `detector` may be null.
    SherpaOfflineDecoder(const SherpaLibrary &library, const sherpa::OfflineConfiguration &configuration,
                         std::size_t longestSegment, std::unique_ptr<SherpaSpeechDetector> detector,
                         DecodingPace::Clock clock);

    void beginUtterance() override;
    void accept(std::span<const std::int16_t> samples) override;
    bool hearsSpeech() override;
    bool isFull() override;
    void endUtterance() override;
    std::size_t endEarly() override;
    std::string text() override { return m_text; }

private:
    void decode();

    const SherpaLibrary m_library;
    const std::size_t m_longestSegment;
    const DecodingPace::Clock m_clock;
    sherpa::Owned<sherpa::OfflineRecognizer> m_recognizer;
    std::vector<std::int16_t> m_segment;
    std::vector<float> m_samples;
    bool m_hasSpeech = false;  ///< somebody spoke in the segment
    std::size_t m_decoded = 0; ///< samples of it that were decoded last
    DecodingPace m_pace;
    SpeechLevel m_level;
    const std::unique_ptr<SherpaSpeechDetector> m_detector;
    std::string m_text;
};

} // namespace quillora::recognizer
