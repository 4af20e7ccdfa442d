#include "support/OwnTime.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

/// How long the threads of this process have waited for a processor, in nanoseconds.
qint64 delay() {
    qint64 sum = 0;
    for (const QString &thread : QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile statistics(u"/proc/self/task/%1/schedstat"_s.arg(thread));
        if (statistics.open(QIODevice::ReadOnly))
            sum += statistics.readAll().split(' ').value(1).toLongLong();
    }
    return sum;
}

} // namespace

OwnTime::OwnTime() : m_delayBefore(delay()) { m_timer.start(); }

qint64 OwnTime::elapsed() const {
    const qint64 delayed = std::max<qint64>(0, delay() - m_delayBefore);
    return std::max<qint64>(0, m_timer.nsecsElapsed() - delayed) / 1'000'000;
}

} // namespace quillora::test
