#include "support/ChildProcess.h"

#include "support/Daemon.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
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
    if (!m_errors.open())
        throw std::runtime_error("cannot make a file for what the program complains about");
    m_process.setStandardErrorFile(m_errors.fileName());
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
    if (number != SIGSTOP && number != SIGCONT)
        m_wasToldToEnd = true;
    if (isRunning())
        ::kill(-static_cast<pid_t>(processId()), number);
}

void ChildProcess::stop(int patienceMs) {
    if (!isRunning())
        return;
    m_wasToldToEnd = true;
    const auto group = -static_cast<pid_t>(processId());
    ::kill(group, SIGCONT);
    ::kill(group, SIGTERM);
    if (!m_process.waitForFinished(patienceMs)) {
        ::kill(group, SIGKILL);
        m_process.waitForFinished(patienceMs);
    }
    ::kill(group, SIGKILL);
}

QString ChildProcess::lastWords() const {
    constexpr qint64 enough = 1000;
    QFile errors(m_errors.fileName());
    if (!errors.open(QIODevice::ReadOnly))
        return {};
    errors.seek(std::max<qint64>(0, errors.size() - enough));
    return QString::fromUtf8(errors.readAll()).trimmed();
}

bool ChildProcess::waitUntil(const std::function<bool()> &condition, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.hasExpired(timeoutMs) || Daemon::hasOneDied())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5); // what is outside this program tells it nothing, so it is looked for again
    }
    return true;
}

} // namespace quillora::test
