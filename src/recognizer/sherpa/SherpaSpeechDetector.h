#pragma once

#include "recognizer/sherpa/SherpaLibrary.h"
#include "recognizer/sherpa/SherpaObjects.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quillora::recognizer {

/// A model of sherpa-onnx that tells speech from pauses, whatever else sounds in them.
class SherpaSpeechDetector {
public:
    /// Throws LoadFailure, and what the library throws where it cannot read the file.
    SherpaSpeechDetector(const SherpaLibrary &library, const std::string &file);

    void beginUtterance();
    void accept(std::span<const std::int16_t> samples);

    /// Whether somebody spoke in the last half second.
    bool hearsSpeech() const { return m_hearsSpeech; }

    /// Whether somebody has spoken since the utterance began.
    bool hasHeardSpeech() const { return m_hasHeardSpeech; }

private:
    const SherpaLibrary m_library;
    sherpa::Owned<sherpa::SpeechDetector> m_detector;
    std::vector<float> m_samples;
    bool m_hearsSpeech = false;
    bool m_hasHeardSpeech = false;
};

} // namespace quillora::recognizer
