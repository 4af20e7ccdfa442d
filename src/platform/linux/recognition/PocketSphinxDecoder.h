#pragma once

#include "platform/linux/recognition/PocketSphinxData.h"

#include <QString>

#include <memory>
#include <vector>

struct ps_decoder_s;
struct cmd_ln_s;

namespace quillora::platform {

/// PocketSphinx with its model loaded. One thread at a time. Every operation throws a LocalizedError where
/// the library gives up; the decoder is of no use after that.
class PocketSphinxDecoder {
public:
    /// The passes over the whole utterance once it has ended. They take longer the longer it was.
    struct Options {
        bool flatSearch = false; ///< a second search over the words of the first
        bool bestPath = false;   ///< a search over the lattice of words
    };

    PocketSphinxDecoder(const PocketSphinxData &data, const Options &options);

    void beginUtterance();

    /// 16 kHz mono.
    void accept(const std::vector<qint16> &samples);

    void endUtterance();

    /// The best transcription of the utterance so far.
    QString text();

    /// A hypothesis of the library without its marks: "<sil> the(2) man [NOISE]" is "the man".
    static QString words(const QString &hypothesis);

private:
    struct Release {
        void operator()(ps_decoder_s *decoder) const;
        void operator()(cmd_ln_s *configuration) const;
    };

    std::unique_ptr<cmd_ln_s, Release> m_configuration;
    std::unique_ptr<ps_decoder_s, Release> m_decoder;
};

} // namespace quillora::platform
