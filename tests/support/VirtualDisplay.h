#pragma once

#include "support/Daemon.h"

#include <QByteArray>
#include <QTemporaryDir>

#include <memory>

namespace quillora::test {

/// An X server of the test's own, with a home and a runtime folder for the programs on it, and without a
/// session bus. All of it is gone with this object.
class VirtualDisplay {
public:
    enum class WindowManager { none, openbox };

    /// Returns once the server, and the window manager if there is one, are ready.
    explicit VirtualDisplay(WindowManager windowManager = WindowManager::none);

    /// What programs call this display.
    const QByteArray &name() const { return m_name; }

    /// A folder that programs on this display can keep files in.
    QString folder() const { return m_folder.path(); }

    /// Starts a program on this display.
    std::unique_ptr<ChildProcess> start(const QString &program, const QStringList &arguments = {}) const;

    /// Starts a program on this display that must not end before the test ends it.
    std::unique_ptr<Daemon> startDaemon(const QString &program, const QStringList &arguments = {}) const;

    /// Runs a program to its end; its output. Throws std::runtime_error if it fails.
    QByteArray run(const QString &program, const QStringList &arguments) const;

    /// Arguments as for setxkbmap.
    void setLayout(const QStringList &arguments) const;

    void startWindowManager();

    /// Returns once none runs.
    void stopWindowManager();

    Daemon &server() { return *m_server; }

private:
    QStringList environment() const;

    QTemporaryDir m_folder;
    QByteArray m_name;
    std::unique_ptr<Daemon> m_server;
    std::unique_ptr<Daemon> m_windowManager;
};

} // namespace quillora::test
