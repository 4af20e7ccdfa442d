#include "platform/linux/recognition/KeptSound.h"

#include <algorithm>

namespace quillora::platform {

void KeptSound::append(std::span<const std::int16_t> samples, std::uint64_t sent) {
    const auto size = m_samples.size() + samples.size();
    if (size > m_limit)
        discardBefore(std::min<std::uint64_t>(sent, m_begin + (size - m_limit)));
    const auto taken = samples.first(std::min(samples.size(), m_limit - m_samples.size()));
    m_samples.insert(m_samples.end(), taken.begin(), taken.end());
}

std::span<const std::int16_t> KeptSound::from(std::uint64_t position, std::size_t count) const {
    const auto rest = std::span(m_samples).subspan(position - m_begin);
    return rest.first(std::min(rest.size(), count));
}

void KeptSound::discardBefore(std::uint64_t position) {
    const auto last = std::clamp(position, begin(), end());
    m_samples.erase(m_samples.begin(), m_samples.begin() + static_cast<std::ptrdiff_t>(last - m_begin));
    m_begin = last;
}

} // namespace quillora::platform
