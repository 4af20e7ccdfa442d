#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quillora::platform {

/// The sound of a dictation that a recognizer may still need, by its position in samples.
class KeptSound {
public:
    /// Keeps so many samples at most.
    explicit KeptSound(std::size_t limit) : m_limit(limit) {}

    /// Where there is no room any more, what lies before `sent` makes way, the oldest first; if that is not
    /// enough, the end of `samples` is lost.
    void append(std::span<const std::int16_t> samples, std::uint64_t sent);

    std::uint64_t begin() const { return m_begin; }
    std::uint64_t end() const { return m_begin + m_samples.size(); }

    /// At most `count` samples from `position` on, which must lie within.
    std::span<const std::int16_t> from(std::uint64_t position, std::size_t count) const;

    void discardBefore(std::uint64_t position);

private:
    const std::size_t m_limit;
    std::uint64_t m_begin = 0;
    std::vector<std::int16_t> m_samples;
};

} // namespace quillora::platform
