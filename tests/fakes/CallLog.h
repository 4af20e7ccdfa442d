#pragma once

#include <QStringList>

namespace quillora::test {

/// What was asked of the platform, in order, one line a call; shared by all fakes of a platform.
class CallLog {
public:
    void add(const QString &call) { m_calls += call; }
    const QStringList &calls() const { return m_calls; }
    void clear() { m_calls.clear(); }

    /// The calls since the last time this was asked.
    QStringList take() { return std::exchange(m_calls, {}); }

private:
    QStringList m_calls;
};

} // namespace quillora::test
