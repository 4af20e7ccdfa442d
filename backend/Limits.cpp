#include "backend/Limits.h"

namespace quillora::backend {

namespace {

/// Whoever comes after so many in one minute shares one count with all who do.
constexpr std::size_t mostNames = 100000;
constexpr std::int64_t minuteSeconds = 60;

std::int64_t secondsOf(Limits::Clock::time_point now) {
    return std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
}

} // namespace

std::size_t Limits::count(const std::string &name, Clock::time_point now) {
    if (m_minute != minuteOf(now)) {
        m_minute = minuteOf(now);
        m_counts.clear();
    }
    const bool isKnown = m_counts.contains(name);
    return ++m_counts[isKnown || m_counts.size() < mostNames ? name : std::string()];
}

std::int64_t Limits::minuteOf(Clock::time_point now) { return secondsOf(now) / minuteSeconds; }

std::chrono::seconds Limits::untilNextMinute(Clock::time_point now) {
    return std::chrono::seconds(minuteSeconds - secondsOf(now) % minuteSeconds);
}

} // namespace quillora::backend
