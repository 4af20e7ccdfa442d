#include "recognizer/sherpa/SherpaOfflineDecoder.h"

#include "recognizer/sherpa/Samples.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <utility>

namespace quillora::recognizer {

namespace {

/// The middle of the quietest tenth of a second in the last second of the sound, counted from its end.
std::size_t quietestFromEnd(std::span<const std::int16_t> sound) {
    constexpr std::size_t part = sampleRate / 20;
    constexpr std::size_t parts = 20;
    std::size_t quietest = 0;
    auto least = std::numeric_limits<std::int64_t>::max();
    for (std::size_t end = 0; end + 2 <= parts && (end + 2) * part < sound.size(); ++end) {
        const auto two = sound.subspan(sound.size() - (end + 2) * part, 2 * part);
        const auto loudness = std::accumulate(two.begin(), two.end(), std::int64_t{0},
                                              [](std::int64_t sum, int one) { return sum + std::abs(one); });
        if (loudness < least) {
            least = loudness;
            quietest = (end + 1) * part;
        }
    }
    return quietest;
}

} // namespace

SherpaOfflineDecoder::SherpaOfflineDecoder(const SherpaLibrary &library,
                                           const sherpa::OfflineConfiguration &configuration,
                                           std::size_t longestSegment,
                                           std::unique_ptr<SherpaSpeechDetector> detector,
                                           DecodingPace::Clock clock)
    : m_library(library), m_longestSegment(longestSegment), m_clock(std::move(clock)),
      m_recognizer(m_library.offline.create(&configuration), m_library.offline.destroy),
      m_detector(std::move(detector)) {
    if (!m_recognizer)
        throw LoadFailure{Refusal::damaged};
    // What is wrong with its networks shows when they first run, which also takes longer than ever after.
    m_segment.resize(sampleRate / 2);
    decode();
    m_pace = {};
}

void SherpaOfflineDecoder::beginUtterance() {
    m_segment.clear();
    m_text.clear();
    m_decoded = 0;
    m_hasSpeech = false;
    m_level.beginUtterance();
    if (m_detector)
        m_detector->beginUtterance();
}

void SherpaOfflineDecoder::accept(std::span<const std::int16_t> samples) {
    m_segment.insert(m_segment.end(), samples.begin(), samples.end());
    m_level.accept(samples);
    if (m_detector)
        m_detector->accept(samples);
    m_hasSpeech = m_hasSpeech || hearsSpeech();
    if (m_hasSpeech && m_pace.isDue(m_segment.size() - m_decoded, m_clock()))
        decode();
}

/// A voice that the detector takes for noise must not be lost, nor cut every half second: it tells where
/// speech ends that it has heard itself.
bool SherpaOfflineDecoder::hearsSpeech() {
    return m_detector && m_detector->hasHeardSpeech() ? m_detector->hearsSpeech() : m_level.hearsSpeech();
}

bool SherpaOfflineDecoder::isFull() {
    return m_segment.size() >= m_longestSegment || m_pace.isTooLong(m_segment.size());
}

/// A model that is given silence alone makes words up.
void SherpaOfflineDecoder::endUtterance() {
    if (m_hasSpeech && m_decoded != m_segment.size())
        decode();
}

std::size_t SherpaOfflineDecoder::endEarly() {
    const auto rest = quietestFromEnd(m_segment);
    m_segment.resize(m_segment.size() - rest);
    endUtterance();
    return rest;
}

void SherpaOfflineDecoder::decode() {
    const auto began = m_clock();
    toFloat(m_segment, m_samples);
    m_samples.resize(m_samples.size() + DecodingPace::silenceAfter);
    const sherpa::Owned<sherpa::OfflineStream> stream(m_library.offline.createStream(m_recognizer.get()),
                                                      m_library.offline.destroyStream);
    m_library.offline.accept(stream.get(), sampleRate, m_samples.data(),
                             static_cast<std::int32_t>(m_samples.size()));
    m_library.offline.decode(m_recognizer.get(), stream.get());
    const sherpa::Owned<sherpa::Result> result(m_library.offline.result(stream.get()),
                                               m_library.offline.destroyResult);
    m_text = textOf(result);
    m_decoded = m_segment.size();
    m_pace.decoded(m_decoded, began, m_clock());
}

} // namespace quillora::recognizer
