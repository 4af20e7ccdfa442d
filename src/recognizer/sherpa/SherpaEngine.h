#pragma once

#include "recognizer/Decoder.h"
#include "recognizer/sherpa/DecodingPace.h"

#include <string>
#include <utility>

namespace quillora::recognizer {

/// sherpa-onnx, whose library lies in a folder of ours. A model's parameters are
///
///     family    what kind of network it is, which also says what its files are, in this order:
///               zipformer-transducer, nemo-transducer                     encoder, decoder, joiner, tokens
///               whisper, canary                                           encoder, decoder, tokens
///               zipformer-ctc, nemo-ctc, omnilingual-ctc, dolphin-ctc,
///               sense-voice                                               model, tokens
///     decoding  "streaming" as the sound comes, or "offline" segment by segment
///     language  of the speech, for models that are told, as in "de"
///     detector  one file more, of another model, that tells speech from pauses for an offline one;
///               without it loudness does
class SherpaEngine : public Engine {
public:
    explicit SherpaEngine(std::string folder, DecodingPace::Clock clock = std::chrono::steady_clock::now)
        : m_folder(std::move(folder)), m_clock(std::move(clock)) {}

    std::string name() const override { return "sherpa"; }
    std::vector<std::string> ownFiles() const override;
    std::unique_ptr<Decoder> load(const Open &model) const override;

private:
    const std::string m_folder;
    const DecodingPace::Clock m_clock;
};

} // namespace quillora::recognizer
