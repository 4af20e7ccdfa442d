#include "platform/linux/recognition/ChannelMix.h"

#include <algorithm>
#include <cmath>

namespace quillora::platform {

namespace {

constexpr double lowSeconds = 0.001; ///< 160 Hz
constexpr double riseSeconds = 0.02;
constexpr double fallSeconds = 0.3;
constexpr float leastShare = 0.1F; ///< of the loudest channel's power

float shareOf(double seconds, qsizetype rate) {
    return static_cast<float>(-std::expm1(-1 / (seconds * double(rate))));
}

} // namespace

ChannelMix::ChannelMix(qsizetype rate, size_t channelCount)
    : m_lowShare(shareOf(lowSeconds, rate)), m_riseShare(shareOf(riseSeconds, rate)),
      m_fallShare(shareOf(fallSeconds, rate)), m_channels(channelCount) {}

float ChannelMix::mix(const qint16 *frame) {
    if (m_channels.size() == 1)
        return *frame;
    listen(frame);
    const auto byLevel = [](const Channel &one, const Channel &other) { return one.level < other.level; };
    const float fullLevel =
        leastShare * std::max_element(m_channels.begin(), m_channels.end(), byLevel)->level;
    float sum = 0, weights = 0;
    for (const Channel &channel : m_channels) {
        const float nearness = channel.level < fullLevel ? channel.level / fullLevel : 1;
        const float weight = nearness * nearness;
        sum += weight * float(*frame++);
        weights += weight;
    }
    return sum / weights;
}

void ChannelMix::listen(const qint16 *frame) {
    for (Channel &channel : m_channels) {
        const float sample = *frame++;
        const float power = (sample - channel.low) * (sample - channel.low);
        channel.low += (sample - channel.low) * m_lowShare;
        channel.level += (power - channel.level) * (power > channel.level ? m_riseShare : m_fallShare);
    }
}

} // namespace quillora::platform
