#pragma once

#include <QtGlobal>

#include <vector>

namespace quillora::platform {

struct AudioFormat {
    double sampleRate = 0;    ///< Hz
    quint32 channelCount = 0; ///< 0: there is nothing to record from

    bool operator==(const AudioFormat &) const = default;
};

/// Recorded sound: frames x channels, interleaved, 16-bit signed, full scale 32768.
struct AudioBuffer {
    AudioFormat format;
    std::vector<qint16> samples;

    qsizetype frameCount() const {
        return format.channelCount ? static_cast<qsizetype>(samples.size() / format.channelCount) : 0;
    }
    bool operator==(const AudioBuffer &) const = default;
};

} // namespace quillora::platform
