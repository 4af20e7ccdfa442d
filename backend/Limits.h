#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

namespace quillora::backend {

/// Counts what comes in each minute of the clock. Its memory is bounded, whoever invents names.
class Limits {
public:
    using Clock = std::chrono::system_clock;

    /// Counts one more for `name` and says how many have come in this minute.
    std::size_t count(const std::string &name, Clock::time_point now);

    static std::int64_t minuteOf(Clock::time_point now);
    static std::chrono::seconds untilNextMinute(Clock::time_point now);

private:
    std::int64_t m_minute = 0;
    std::unordered_map<std::string, std::size_t> m_counts;
};

} // namespace quillora::backend
