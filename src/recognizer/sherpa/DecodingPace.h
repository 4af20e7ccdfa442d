#pragma once

#include "recognizer/protocol/Messages.h"
#include "recognizer/protocol/SherpaFiles.h"

#include <chrono>
#include <cstddef>
#include <functional>

namespace quillora::recognizer {

/// How often a growing segment of speech is decoded anew, and how long it may become: decoding takes at most
/// half of the time, and at the release nobody waits for long.
class DecodingPace {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;

    /// Samples of silence that are decoded behind each segment: some models leave out a word that ends with
    /// the sound.
    static constexpr std::size_t silenceAfter = std::size_t{sampleRate} * 3 / 10;

    /// Whether it may be decoded now, `added` samples having come since the last time.
    bool isDue(std::size_t added, Time now) const { return added >= leastAdded && now - m_ended >= m_took; }

    /// A segment of `length` samples was decoded.
    void decoded(std::size_t length, Time began, Time ended) {
        m_length = length;
        m_took = ended - began;
        m_ended = ended;
    }

    /// Whether decoding a segment of so many samples would take too long.
    bool isTooLong(std::size_t length) const {
        if (length < shortest || m_length == 0)
            return false;
        return m_took * withSilence(length) >= longestDecoding * withSilence(m_length);
    }

private:
    static double withSilence(std::size_t length) { return static_cast<double>(length + silenceAfter); }

    static constexpr std::size_t leastAdded = std::size_t{sampleRate} * 3 / 10;
    /// What is shorter is no context to understand a word in.
    static constexpr std::size_t shortest = std::size_t{sampleRate} * 2;

    std::size_t m_length = 0; ///< that was decoded last
    std::chrono::duration<double> m_took{};
    Time m_ended;
};

} // namespace quillora::recognizer
