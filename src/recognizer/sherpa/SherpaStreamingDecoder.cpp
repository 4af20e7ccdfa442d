#include "recognizer/sherpa/SherpaStreamingDecoder.h"

#include "recognizer/sherpa/Samples.h"

#include <utility>

namespace quillora::recognizer {

SherpaStreamingDecoder::SherpaStreamingDecoder(const SherpaLibrary &library,
                                               const sherpa::OnlineConfiguration &configuration,
                                               std::string language)
    : m_library(library), m_language(std::move(language)),
      m_recognizer(m_library.online.create(&configuration), m_library.online.destroy) {
    if (!m_recognizer)
        throw LoadFailure{Refusal::damaged};
    m_padding.resize(samplesOfOneStep());
}

void SherpaStreamingDecoder::beginUtterance() {
    m_stream = makeStream();
    m_text.clear();
    m_level.beginUtterance();
}

void SherpaStreamingDecoder::accept(std::span<const std::int16_t> samples) {
    m_level.accept(samples);
    toFloat(samples, m_samples);
    m_library.online.accept(m_stream.get(), sampleRate, m_samples.data(),
                            static_cast<std::int32_t>(m_samples.size()));
    decode();
}

/// Without silence after it the last word is lost: the model waits for more before it decodes what it has.
void SherpaStreamingDecoder::endUtterance() {
    m_library.online.accept(m_stream.get(), sampleRate, m_padding.data(),
                            static_cast<std::int32_t>(m_padding.size()));
    m_library.online.finish(m_stream.get());
    decode();
}

sherpa::Owned<sherpa::OnlineStream> SherpaStreamingDecoder::makeStream() const {
    sherpa::Owned<sherpa::OnlineStream> stream(m_library.online.createStream(m_recognizer.get()),
                                               m_library.online.destroyStream);
    if (!m_language.empty())
        m_library.online.setOption(stream.get(), "language", m_language.c_str());
    return stream;
}

/// It depends on the model, and nothing tells it but a stream that is ready. The step is decoded, too: what
/// is wrong with the model's networks shows when they first run.
std::size_t SherpaStreamingDecoder::samplesOfOneStep() {
    constexpr std::size_t portion = sampleRate / 100;
    constexpr std::size_t most = std::size_t{5} * sampleRate;
    const std::vector<float> silence(portion);
    m_stream = makeStream();
    std::size_t count = 0;
    while (count < most && !m_library.online.isReady(m_recognizer.get(), m_stream.get())) {
        m_library.online.accept(m_stream.get(), sampleRate, silence.data(),
                                static_cast<std::int32_t>(portion));
        count += portion;
    }
    decode();
    return count;
}

void SherpaStreamingDecoder::decode() {
    bool hasDecoded = false;
    while (m_library.online.isReady(m_recognizer.get(), m_stream.get())) {
        m_library.online.decode(m_recognizer.get(), m_stream.get());
        hasDecoded = true;
    }
    if (!hasDecoded)
        return;
    const sherpa::Owned<sherpa::Result> result(m_library.online.result(m_recognizer.get(), m_stream.get()),
                                               m_library.online.destroyResult);
    m_text = textOf(result);
}

} // namespace quillora::recognizer
