#pragma once

#include "platform/AudioBuffer.h"
#include "platform/linux/recognition/ChannelMix.h"
#include "recognizer/protocol/Messages.h"

#include <random>
#include <vector>

namespace quillora::platform {

/// Turns sound of any rate and number of channels into 16 kHz mono, which is what recognizers are trained on.
/// What the target rate cannot hold is filtered out.
///
/// A telephone's microphone leaves the upper half of the band empty, where recognizers expect the hiss of
/// consonants. It gets a faint mirror image of the lower half and a fainter noise: of 71 words read aloud at
/// 8 kHz, 36 came out wrong without and 21 with it.
class SpeechResampler {
public:
    static constexpr int outputRate = recognizer::sampleRate;

    /// `format` needs a channel and a rate of at least 1 Hz.
    explicit SpeechResampler(const AudioFormat &format);

    const AudioFormat &inputFormat() const { return m_format; }

    /// The sound that has become complete with `samples`, which are interleaved and follow on the last ones.
    std::vector<qint16> convert(const std::vector<qint16> &samples);

    /// What the filter still holds, at the end of the sound.
    std::vector<qint16> finish();

private:
    void appendMono(const std::vector<qint16> &samples);
    std::vector<qint16> takeComplete();
    float fillEmptyBand(float sample);

    const AudioFormat m_format;
    const qsizetype m_stride; ///< parts of an input sample in which positions are counted
    const qsizetype m_step;   ///< from one output sample to the next, in those parts
    const qsizetype m_phases; ///< filters, spread evenly over one input sample
    const qsizetype m_taps;   ///< length of a filter
    std::vector<float> m_filters;
    std::vector<float> m_input; ///< mono, from the first sample that the next output sample needs
    ChannelMix m_mix;
    const bool m_hasEmptyBand;
    bool m_isOddSample = false; ///< the next output sample's index is odd
    std::minstd_rand m_random;
    qsizetype m_position = 0; ///< of the next output sample's filter in m_input, in parts
};

} // namespace quillora::platform
