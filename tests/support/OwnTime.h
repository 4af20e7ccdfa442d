#pragma once

#include <QElapsedTimer>

namespace quillora::test {

/// A running clock for promises about how long something takes here: what this process waited for a busy
/// machine to let it run does not count.
class OwnTime {
public:
    OwnTime();

    /// In milliseconds.
    qint64 elapsed() const;

private:
    QElapsedTimer m_timer;
    qint64 m_delayBefore;
};

} // namespace quillora::test
