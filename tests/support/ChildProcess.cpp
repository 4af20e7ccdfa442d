#include "support/ChildProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <csignal>
#include <stdexcept>
#include <sys/prctl.h>
#include <unistd.h>

namespace quillora::test {

ChildProcess::ChildProcess(const QString &program, const QStringList &arguments,
                           const QStringList &environment) {
    auto variables = QProcessEnvironment::systemEnvironment();
    for (const QString &setting : environment) {
        const QString name = setting.section(u'=', 0, 0);
        const QString value = setting.section(u'=', 1);
        if (value.isEmpty())
            variables.remove(name);
        else
            variables.insert(name, value);
    }
    m_process.setProcessEnvironment(variables);
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.setChildProcessModifier([] {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    m_process.start(program, arguments);
    if (!m_process.waitForStarted())
        throw std::runtime_error("cannot start " + program.toStdString() + ": " +
                                 m_process.errorString().toStdString());
}

ChildProcess::~ChildProcess() { stop(); }

void ChildProcess::signal(int number) {
    if (isRunning())
        ::kill(-static_cast<pid_t>(processId()), number);
}

void ChildProcess::stop(int patienceMs) {
    if (!isRunning())
        return;
    const auto group = -static_cast<pid_t>(processId());
    ::kill(group, SIGCONT);
    ::kill(group, SIGTERM);
    if (!m_process.waitForFinished(patienceMs)) {
        ::kill(group, SIGKILL);
        m_process.waitForFinished(patienceMs);
    }
    ::kill(group, SIGKILL);
}

bool ChildProcess::waitUntil(const std::function<bool()> &condition, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.hasExpired(timeoutMs))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
    return true;
}

} // namespace quillora::test
