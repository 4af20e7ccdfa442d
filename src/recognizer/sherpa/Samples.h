#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace quillora::recognizer {

/// Sound as sherpa-onnx takes it, from -1 to 1.
inline void toFloat(std::span<const std::int16_t> samples, std::vector<float> &floats) {
    constexpr float loudest = 32768;
    floats.resize(samples.size());
    std::transform(samples.begin(), samples.end(), floats.begin(),
                   [](std::int16_t sample) { return static_cast<float>(sample) / loudest; });
}

} // namespace quillora::recognizer
