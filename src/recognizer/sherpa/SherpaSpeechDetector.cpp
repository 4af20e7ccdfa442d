#include "recognizer/sherpa/SherpaSpeechDetector.h"

#include "recognizer/Decoder.h"
#include "recognizer/sherpa/Samples.h"
#include "recognizer/sherpa/Zeroed.h"

#include <algorithm>

namespace quillora::recognizer {

namespace {

constexpr std::size_t window = 512; ///< samples that the networks look at, all that they are made for

/// In seconds, what no utterance reaches: beyond it the library looks for shorter pauses. Much more would be
/// none at all, since it counts the samples in 32 bits.
constexpr float longest = 3600;

/// The sound that it keeps at first; it makes room for more.
constexpr float bufferSeconds = 60;

sherpa::Owned<sherpa::SpeechDetector> create(const SherpaLibrary &library, const std::string &file) {
    sherpa::Zeroed<sherpa::SpeechDetectorConfiguration> configuration;
    configuration->silero = {.model = file.c_str(),
                             .threshold = 0.5F,
                             .shortestPause = 0.5F,
                             .shortestSpeech = 0.05F,
                             .window = static_cast<std::int32_t>(window),
                             .longestSpeech = longest};
    configuration->sampleRate = sampleRate;
    configuration->threads = 1;
    configuration->provider = "cpu";
    return {library.detector.create(&*configuration, bufferSeconds), library.detector.destroy};
}

} // namespace

SherpaSpeechDetector::SherpaSpeechDetector(const SherpaLibrary &library, const std::string &file)
    : m_library(library), m_detector(create(m_library, file)) {
    if (!m_detector)
        throw LoadFailure{Refusal::damaged};
    // What is wrong with its network shows when that first runs.
    const std::vector<std::int16_t> silence(2 * window);
    accept(silence);
    beginUtterance();
}

void SherpaSpeechDetector::beginUtterance() {
    m_library.detector.reset(m_detector.get());
    m_hearsSpeech = false;
    m_hasHeardSpeech = false;
}

/// Of what it is given at once the library tells whether there was speech anywhere in it.
void SherpaSpeechDetector::accept(std::span<const std::int16_t> samples) {
    toFloat(samples, m_samples);
    for (std::span<const float> rest = m_samples; !rest.empty();) {
        const auto portion = rest.first(std::min(rest.size(), window));
        m_library.detector.accept(m_detector.get(), portion.data(),
                                  static_cast<std::int32_t>(portion.size()));
        m_hearsSpeech = m_library.detector.hearsSpeech(m_detector.get()) != 0;
        m_hasHeardSpeech = m_hasHeardSpeech || m_hearsSpeech;
        rest = rest.subspan(portion.size());
    }
    m_library.detector.dropSegments(m_detector.get()); // it keeps the sound of all that was said
}

} // namespace quillora::recognizer
