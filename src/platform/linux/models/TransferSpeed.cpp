#include "platform/linux/models/TransferSpeed.h"

namespace quillora::platform {

void TransferSpeed::note(std::chrono::milliseconds time, qint64 bytes) {
    if (!m_moments.empty() && bytes < m_moments.back().bytes)
        m_moments.clear();
    m_moments.push_back({time, bytes});
    while (m_moments.size() > 2 && m_moments[1].time <= time - memory)
        m_moments.pop_front();
}

qint64 TransferSpeed::bytesPerSecond() const {
    if (m_moments.empty())
        return 0;
    const Moment &first = m_moments.front(), &last = m_moments.back();
    const auto duration = (last.time - first.time).count();
    return duration > 0 ? (last.bytes - first.bytes) * 1000 / duration : 0;
}

} // namespace quillora::platform
