#include "recognizer/pocketsphinx/PocketSphinxDecoder.h"

#include "recognizer/pocketsphinx/PocketSphinxEngine.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <pocketsphinx.h>
#include <sphinxbase/err.h>
#include <stdexcept>
#include <string_view>

namespace quillora::recognizer {

namespace {

void require(int status) {
    if (status < 0)
        throw std::runtime_error("PocketSphinx has given up");
}

/// Before it ends the process the library says why.
void tellWhyItEnds(void *, err_lvl_t level, const char *, ...) {
    if (level == ERR_FATAL && errno == ENOMEM)
        std::_Exit(noMemoryStatus);
}

/// Markers of silence and noise such as <sil>, [NOISE] and ++UM++.
bool isMarker(std::string_view token) {
    return token.starts_with('<') || token.starts_with('[') || token.starts_with("++");
}

/// A word's other pronunciations are numbered: "the(2)".
std::string_view withoutPronunciation(std::string_view token) {
    const auto bracket = token.find('(');
    return bracket > 0 && token.ends_with(')') ? token.substr(0, bracket) : token;
}

} // namespace

void PocketSphinxDecoder::Release::operator()(ps_decoder_s *decoder) const { ps_free(decoder); }
void PocketSphinxDecoder::Release::operator()(cmd_ln_s *configuration) const { cmd_ln_free_r(configuration); }

PocketSphinxDecoder::PocketSphinxDecoder(const std::string &acousticModel, const std::string &languageModel,
                                         const std::string &dictionary, const Options &options) {
    err_set_logfp(nullptr);
    err_set_callback(tellWhyItEnds, nullptr);
    // Data that is cut short while it is mapped would end the process by a signal, so it is read instead. Six
    // densities of a codebook instead of four cost a twentieth of the time and help most in the first
    // dictation of a run, when the microphone is still unknown: over five recordings, each heard by a fresh
    // decoder, the word error rate is 26 % instead of 32 %.
    m_configuration.reset(cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", acousticModel.c_str(), "-lm",
                                      languageModel.c_str(), "-dict", dictionary.c_str(), "-mmap", "no",
                                      "-topn", "6", "-fwdflat", options.flatSearch ? "yes" : "no",
                                      "-bestpath", options.bestPath ? "yes" : "no", nullptr));
    if (m_configuration)
        m_decoder.reset(ps_init(m_configuration.get()));
    if (!m_decoder)
        throw LoadFailure{Refusal::damaged};
}

void PocketSphinxDecoder::beginUtterance() { require(ps_start_utt(m_decoder.get())); }

void PocketSphinxDecoder::accept(std::span<const std::int16_t> samples) {
    require(ps_process_raw(m_decoder.get(), samples.data(), samples.size(), FALSE, FALSE));
}

/// The library hears a pause once it has lasted for 50 frames of 10 ms.
bool PocketSphinxDecoder::hearsSpeech() { return ps_get_in_speech(m_decoder.get()); }

void PocketSphinxDecoder::endUtterance() { require(ps_end_utt(m_decoder.get())); }

std::string PocketSphinxDecoder::text() {
    int32 score = 0;
    const char *const hypothesis = ps_get_hyp(m_decoder.get(), &score);
    return hypothesis ? words(hypothesis) : std::string();
}

std::string PocketSphinxDecoder::words(std::string_view hypothesis) {
    std::string words;
    while (!hypothesis.empty()) {
        const auto end = std::min(hypothesis.find(' '), hypothesis.size());
        const auto token = hypothesis.substr(0, end);
        if (!token.empty() && !isMarker(token)) {
            if (!words.empty())
                words += ' ';
            words += withoutPronunciation(token);
        }
        hypothesis.remove_prefix(std::min(end + 1, hypothesis.size()));
    }
    return words;
}

std::unique_ptr<Decoder> PocketSphinxEngine::load(const Open &model) const {
    const auto &files = model.files;
    if (files.size() != 3)
        throw LoadFailure{Refusal::incompatible};
    for (const auto &file : files) {
        if (std::error_code error; !std::filesystem::exists(file, error))
            throw LoadFailure{Refusal::missing};
    }
    return std::make_unique<PocketSphinxDecoder>(files[0], files[1], files[2],
                                                 PocketSphinxDecoder::Options{});
}

} // namespace quillora::recognizer
