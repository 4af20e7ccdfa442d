#pragma once

#include <QtGlobal>

#include <vector>

namespace quillora::platform {

/// Mixes a microphone's channels down to one, frame by frame.
///
/// It takes the mean of the channels that carry the sound: those whose recent level is within 10 dB of the
/// loudest one's. A stereo microphone is averaged, as two talkers are, and one live input of an interface is
/// as loud as it would be alone, where a mean of all 18 channels would take 25 dB off it. The fainter a
/// channel is, the less it counts: 4 dB for each that is missing, so that nothing is ever switched.
///
/// A level rises within 20 ms, so that whoever begins to speak counts in full within a few milliseconds, but
/// a click does not outweigh a voice; it falls within 300 ms, so that a pause between words leaves all as it
/// is. What lies below the voice, such as hum or a direct current, does not count.
class ChannelMix {
public:
    /// `rate` in Hz, at least 1; `channelCount` at least 1.
    ChannelMix(qsizetype rate, size_t channelCount);

    /// `frame` has one sample of each channel.
    float mix(const qint16 *frame);

private:
    void listen(const qint16 *frame);

    struct Channel {
        float low = 0;   ///< the part of the sound below the voice
        float level = 0; ///< recent power of the rest
    };

    const float m_lowShare; ///< of the way to a new value in one sample, here and below
    const float m_riseShare;
    const float m_fallShare;
    std::vector<Channel> m_channels;
};

} // namespace quillora::platform
