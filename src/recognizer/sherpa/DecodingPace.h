#pragma once

#include "recognizer/protocol/Messages.h"
#include "recognizer/protocol/SherpaFiles.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <utility>

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
    bool isDue(std::size_t added, Time now) const {
        return added >= leastAdded && now - m_ended >= m_last.took;
    }

    /// A segment of `length` samples was decoded.
    void decoded(std::size_t length, Time began, Time ended) {
        m_before = std::exchange(m_last, {length, ended - began});
        m_ended = ended;
    }

    /// Whether decoding a segment of so many samples would take too long, by both of the last two times: once
    /// may be a moment in which the computer had something else to do, and no reason to cut through a word.
    /// By what the longer one of them took more, too: some models take as long for few words as for many.
    bool isTooLong(std::size_t length) const {
        return length >= shortest && m_last.foretellsTooLong(length) && m_before.foretellsTooLong(length) &&
               takesTooLongByTheirDifference(length);
    }

private:
    struct Decoding {
        std::size_t length = 0; ///< of nothing so far if 0
        std::chrono::duration<double> took{};

        bool foretellsTooLong(std::size_t another) const {
            return length > 0 && took * withSilence(another) >= longestDecoding * withSilence(length);
        }
    };

    bool takesTooLongByTheirDifference(std::size_t length) const {
        if (m_last.length <= m_before.length)
            return true;
        const auto more = std::max(m_last.took - m_before.took, std::chrono::duration<double>(0));
        const auto share = (static_cast<double>(length) - static_cast<double>(m_last.length)) /
                           static_cast<double>(m_last.length - m_before.length);
        return m_last.took + more * share >= longestDecoding;
    }

    static double withSilence(std::size_t length) { return static_cast<double>(length + silenceAfter); }

    static constexpr std::size_t leastAdded = std::size_t{sampleRate} * 3 / 10;
    /// What is shorter is no context to understand a word in.
    static constexpr std::size_t shortest = std::size_t{sampleRate} * 2;

    Decoding m_last;
    Decoding m_before;
    Time m_ended;
};

} // namespace quillora::recognizer
