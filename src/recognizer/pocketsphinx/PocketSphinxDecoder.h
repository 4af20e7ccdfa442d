#pragma once

#include "recognizer/Decoder.h"

#include <memory>

struct ps_decoder_s;
struct cmd_ln_s;

namespace quillora::recognizer {

/// PocketSphinx with its model loaded. The library ends the process where it cannot go on.
class PocketSphinxDecoder : public Decoder {
public:
    /// The passes over the whole utterance once it has ended. They take longer the longer it was.
    struct Options {
        bool flatSearch = false; ///< a second search over the words of the first
        bool bestPath = false;   ///< a search over the lattice of words
    };

    /// Throws LoadFailure.
    PocketSphinxDecoder(const std::string &acousticModel, const std::string &languageModel,
                        const std::string &dictionary, const Options &options);

    void beginUtterance() override;
    void accept(std::span<const std::int16_t> samples) override;
    bool hearsSpeech() override;
    void endUtterance() override;
    std::string text() override;

    /// A hypothesis of the library without its marks: "<sil> the(2) man [NOISE]" is "the man".
    static std::string words(std::string_view hypothesis);

private:
    struct Release {
        void operator()(ps_decoder_s *decoder) const;
        void operator()(cmd_ln_s *configuration) const;
    };

    std::unique_ptr<cmd_ln_s, Release> m_configuration;
    std::unique_ptr<ps_decoder_s, Release> m_decoder;
};

} // namespace quillora::recognizer
