#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quillora::recognizer {

/// Tells speech from pauses by how loud it is beside the noise of the room, for engines that do not tell.
class SpeechLevel {
public:
    void accept(std::span<const std::int16_t> samples);

    /// Whether somebody spoke in the last half second.
    bool hearsSpeech() const { return m_pause < longPause; }

    /// A pause is behind us; the noise of the room stays known.
    void beginUtterance() { m_pause = longPause; }

private:
    static constexpr std::size_t frame = 320; ///< 20 ms
    static constexpr std::size_t longPause = 8000;
    static constexpr double quietRoom = 16;
    static constexpr double loudest = 32768;

    void endFrame();

    double m_energy = 0;      ///< of the frame under way
    std::size_t m_filled = 0; ///< samples of it
    double m_level = 0;       ///< of the last frame, as all levels the root of its mean square
    double m_noise = quietRoom;
    double m_lowest = loudest;       ///< since `m_noise` was found
    std::size_t m_observed = 0;      ///< frames since then
    std::size_t m_pause = longPause; ///< samples since somebody spoke
};

} // namespace quillora::recognizer
