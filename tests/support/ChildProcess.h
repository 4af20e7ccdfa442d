#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryFile>

#include <atomic>
#include <functional>
#include <memory>

namespace quillora::test {

/// A program that a test started, in a process group of its own. It ends with this object, and with the test
/// whatever happens to that. Only processes that are started through here are ever signalled.
class ChildProcess {
public:
    /// `environment` is added to this process's own; an empty value removes a variable. Throws
    /// std::runtime_error if the program cannot be started.
    ChildProcess(const QString &program, const QStringList &arguments, const QStringList &environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    qint64 processId() const { return m_process.processId(); }
    bool isRunning() const { return m_process.state() == QProcess::Running; }
    QProcess &process() { return m_process; }

    /// Sends a signal to the program's whole process group, and waits for nothing; any thread.
    void signal(int number);

    /// Ends the group: asks first, then insists after `patienceMs`.
    void stop(int patienceMs = 2000);

    /// Waits until `condition` holds, turning the event loop meanwhile; false if it never did, or if a daemon
    /// that the test needs has died.
    static bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 20000);

protected:
    /// Whether the test has sent a signal that ends programs.
    bool wasToldToEnd() const { return m_wasToldToEnd; }

    /// The end of what the program wrote on its standard error.
    QString lastWords() const;

private:
    QTemporaryFile m_errors;
    QProcess m_process;
    std::atomic<bool> m_wasToldToEnd = false;
};

} // namespace quillora::test
