#include "platform/linux/recognition/SpeechResampler.h"

#include <QtMath>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace quillora::platform {

namespace {

/// Zero crossings of the filter on either side, at the lower of the two rates.
constexpr double lobes = 16;
/// Where the pass band ends when the rate is lowered, as a share of the output's own band.
constexpr double passBand = 0.94;
/// Odd pairs of rates would need thousands of filters; the nearest of these is as good for speech.
constexpr qsizetype maximumPhases = 512;

/// The highest rate that leaves the upper half of the output's band empty.
constexpr qsizetype narrowRate = SpeechResampler::outputRate / 2;
constexpr float mirrorShare = 0.2F;
/// In units of a sample; the loudest sound is 32768.
constexpr float loudestNoise = 35;

qsizetype inputRate(const AudioFormat &format) { return std::max(1, qRound(format.sampleRate)); }

/// The filter's pass band as a share of the input's band.
double cutoff(const AudioFormat &format) {
    const auto rate = inputRate(format);
    return rate <= SpeechResampler::outputRate ? 1.0 : passBand * SpeechResampler::outputRate / double(rate);
}

double windowedSinc(double distance, double band, double halfWidth) {
    if (std::abs(distance) >= halfWidth)
        return 0;
    const double angle = std::numbers::pi * distance * band;
    const double sinc = std::abs(angle) < 1e-9 ? 1 : std::sin(angle) / angle;
    return sinc * (0.5 + 0.5 * std::cos(std::numbers::pi * distance / halfWidth));
}

} // namespace

SpeechResampler::SpeechResampler(const AudioFormat &format)
    : m_format(format), m_stride(outputRate / std::gcd<qsizetype>(outputRate, inputRate(format))),
      m_step(inputRate(format) / std::gcd<qsizetype>(outputRate, inputRate(format))),
      m_phases(std::min(m_stride, maximumPhases)), m_taps(qsizetype{2} * qCeil(lobes / cutoff(format))),
      m_filters(static_cast<size_t>(m_phases * m_taps)),
      // The first output sample lies on the first input sample, so half a filter of silence goes before.
      m_input(static_cast<size_t>(m_taps / 2 - 1)), m_mix(inputRate(format), format.channelCount),
      m_hasEmptyBand(inputRate(format) <= narrowRate) {
    const double band = cutoff(format);
    for (qsizetype phase = 0; phase < m_phases; ++phase) {
        const auto filter = m_filters.begin() + phase * m_taps;
        const double centre = double(m_taps) / 2 - 1 + double(phase) / double(m_phases);
        for (qsizetype tap = 0; tap < m_taps; ++tap)
            filter[tap] = static_cast<float>(windowedSinc(double(tap) - centre, band, double(m_taps) / 2));
        const float sum = std::accumulate(filter, filter + m_taps, 0.0F);
        std::for_each(filter, filter + m_taps, [sum](float &weight) { weight /= sum; });
    }
}

std::vector<qint16> SpeechResampler::convert(const std::vector<qint16> &samples) {
    appendMono(samples);
    return takeComplete();
}

std::vector<qint16> SpeechResampler::finish() {
    m_input.insert(m_input.end(), static_cast<size_t>(m_taps / 2), 0.0F);
    return takeComplete();
}

void SpeechResampler::appendMono(const std::vector<qint16> &samples) {
    const size_t channels = m_format.channelCount;
    for (size_t frame = 0; frame + channels <= samples.size(); frame += channels)
        m_input.push_back(m_mix.mix(&samples[frame]));
}

std::vector<qint16> SpeechResampler::takeComplete() {
    std::vector<qint16> output;
    const auto available = static_cast<qsizetype>(m_input.size());
    for (; m_position / m_stride + m_taps <= available; m_position += m_step) {
        const auto input = m_input.begin() + m_position / m_stride;
        const auto phase = m_position % m_stride * m_phases / m_stride;
        float value = std::inner_product(input, input + m_taps, m_filters.begin() + phase * m_taps, 0.0F);
        if (m_hasEmptyBand)
            value = fillEmptyBand(value);
        output.push_back(static_cast<qint16>(std::clamp(std::lround(value), -32768L, 32767L)));
    }
    const auto consumed = std::min(m_position / m_stride, available);
    m_input.erase(m_input.begin(), m_input.begin() + consumed);
    m_position -= consumed * m_stride;
    return output;
}

/// Changing the sign of every other sample turns a spectrum upside down.
float SpeechResampler::fillEmptyBand(float sample) {
    m_isOddSample = !m_isOddSample;
    const float mirrored = m_isOddSample ? sample : -sample;
    return sample + mirrorShare * mirrored +
           std::uniform_real_distribution(-loudestNoise, loudestNoise)(m_random);
}

} // namespace quillora::platform
