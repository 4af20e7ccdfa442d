#include "support/Daemon.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

constexpr int patienceMs = 30000;

int deadCount = 0;

} // namespace

Daemon::Daemon(const QString &program, const QStringList &arguments, const QStringList &environment)
    : ChildProcess(program, arguments, environment),
      m_commandLine((QStringList(program) + arguments).join(u' ')) {
    QObject::connect(&process(), &QProcess::finished, &process(), [this] { noticeEnd(); });
}

Daemon::~Daemon() {
    // An end that the event loop has not told of yet.
    process().waitForFinished(0);
    stop();
    deadCount -= m_hasDied;
}

/// Without the event loop: a display may be wanted before there is one, and nobody is to learn of the daemon
/// before it is ready.
void Daemon::waitUntilReady(const std::function<bool()> &isReady) {
    QElapsedTimer timer;
    timer.start();
    while (!isReady()) {
        process().waitForReadyRead(5);
        if (!isRunning() || hasOneDied() || timer.hasExpired(patienceMs))
            throw std::runtime_error("not ready: " + m_commandLine.toStdString());
        QThread::msleep(5); // nothing tells when it is ready, so it is looked for again
    }
}

bool Daemon::hasOneDied() { return deadCount > 0; }

void Daemon::noticeEnd() {
    if (wasToldToEnd())
        return;
    m_hasDied = true;
    ++deadCount;
    const QString end = u"%1 ended by itself, with %2 %3. Its last words:\n%4"_s.arg(
        m_commandLine, process().exitStatus() == QProcess::CrashExit ? u"signal"_s : u"status"_s,
        QString::number(process().exitCode()), lastWords());
    QTest::qFail(qPrintable(end), __FILE__, __LINE__);
}

} // namespace quillora::test
