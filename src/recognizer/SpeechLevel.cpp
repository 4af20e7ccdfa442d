#include "recognizer/SpeechLevel.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillora::recognizer {

namespace {

/// Speech is as much louder than the noise between its sounds.
constexpr double aboveNoise = 2.5;

/// In so many frames somebody takes a breath: their quietest moment is the noise of the room.
constexpr std::size_t breath = 100;

} // namespace

void SpeechLevel::accept(std::span<const std::int16_t> samples) {
    for (const double sample : samples) {
        m_energy += sample * sample;
        if (++m_filled == frame)
            endFrame();
    }
}

void SpeechLevel::endFrame() {
    const double level = std::sqrt(m_energy / static_cast<double>(frame));
    m_energy = 0;
    m_filled = 0;
    // Of two frames, so that no click decides.
    const double smooth = (std::exchange(m_level, level) + level) / 2;
    m_lowest = std::min(m_lowest, smooth);
    if (smooth < m_noise)
        m_noise = std::max(smooth, quietRoom);
    if (++m_observed == breath) {
        m_noise = std::clamp(m_lowest, quietRoom, 8 * m_noise);
        m_lowest = loudest;
        m_observed = 0;
    }
    m_pause = smooth > aboveNoise * m_noise ? 0 : m_pause + frame;
}

} // namespace quillora::recognizer
