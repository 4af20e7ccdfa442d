#include "platform/linux/recognition/PocketSphinxDecoder.h"

#include "platform/LocalizedError.h"

#include <QFile>

#include <mutex>
#include <pocketsphinx.h>
#include <sphinxbase/err.h>

namespace quillora::platform {

namespace {

LocalizedError loadFailure() { return LocalizedError(u"The speech model could not be loaded."_qs); }
LocalizedError decodingFailure() { return LocalizedError(u"The speech could not be recognized."_qs); }

/// The library ends the whole program where it meets something it cannot go on with. It tells this function
/// first; leaving it by an exception spares the program, at the price of what the library had allocated.
void refuseToDie(void *, err_lvl_t level, const char *, ...) {
    if (level == ERR_FATAL)
        throw decodingFailure();
}

void silenceLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        err_set_logfp(nullptr);
        err_set_callback(refuseToDie, nullptr);
    });
}

/// Markers of silence and noise such as <sil>, [NOISE] and ++UM++.
bool isMarker(const QString &token) {
    return token.startsWith(u'<') || token.startsWith(u'[') || token.startsWith(u"++");
}

/// A word's other pronunciations are numbered: "the(2)".
QString withoutPronunciation(const QString &token) {
    const auto bracket = token.indexOf(u'(');
    return bracket > 0 && token.endsWith(u')') ? token.left(bracket) : token;
}

} // namespace

void PocketSphinxDecoder::Release::operator()(ps_decoder_s *decoder) const { ps_free(decoder); }
void PocketSphinxDecoder::Release::operator()(cmd_ln_s *configuration) const { cmd_ln_free_r(configuration); }

PocketSphinxDecoder::PocketSphinxDecoder(const PocketSphinxData &data, const Options &options) {
    silenceLibrary();
    if (!data.isWhole())
        throw loadFailure();
    // Data that is cut short while it is mapped would end the program by a signal, so it is read instead. Six
    // densities of a codebook instead of four cost a twentieth of the time and help most in the first
    // dictation of a run, when the microphone is still unknown: over five recordings, each heard by a fresh
    // decoder, the word error rate is 26 % instead of 32 %.
    m_configuration.reset(cmd_ln_init(
        nullptr, ps_args(), TRUE, "-hmm", QFile::encodeName(data.acousticModel).constData(), "-lm",
        QFile::encodeName(data.languageModel).constData(), "-dict",
        QFile::encodeName(data.dictionary).constData(), "-mmap", "no", "-topn", "6", "-fwdflat",
        options.flatSearch ? "yes" : "no", "-bestpath", options.bestPath ? "yes" : "no", nullptr));
    if (m_configuration)
        m_decoder.reset(ps_init(m_configuration.get()));
    if (!m_decoder)
        throw loadFailure();
}

void PocketSphinxDecoder::beginUtterance() {
    if (ps_start_utt(m_decoder.get()) < 0)
        throw decodingFailure();
}

void PocketSphinxDecoder::accept(const std::vector<qint16> &samples) {
    if (ps_process_raw(m_decoder.get(), samples.data(), samples.size(), FALSE, FALSE) < 0)
        throw decodingFailure();
}

void PocketSphinxDecoder::endUtterance() {
    if (ps_end_utt(m_decoder.get()) < 0)
        throw decodingFailure();
}

QString PocketSphinxDecoder::text() {
    int32 score = 0;
    return words(QString::fromUtf8(ps_get_hyp(m_decoder.get(), &score)));
}

QString PocketSphinxDecoder::words(const QString &hypothesis) {
    QStringList words;
    for (const auto &token : hypothesis.split(u' ', Qt::SkipEmptyParts)) {
        if (!isMarker(token))
            words << withoutPronunciation(token);
    }
    return words.join(u' ');
}

} // namespace quillora::platform
