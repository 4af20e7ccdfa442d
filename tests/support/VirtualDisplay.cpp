#include "support/VirtualDisplay.h"

#include "support/XcbClient.h"

#include <QDir>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {
constexpr int patienceMs = 15000;
}

VirtualDisplay::VirtualDisplay(WindowManager windowManager) {
    for (const QString &name : {u"home"_s, u"runtime"_s}) {
        QDir(folder()).mkpath(name);
        QFile::setPermissions(folder() + u'/' + name, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    m_server = std::make_unique<Daemon>(u"Xvfb"_s, QStringList{u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s,
                                                               u"1280x800x24"_s, u"-nolisten"_s, u"tcp"_s,
                                                               u"-noreset"_s});
    m_server->waitUntilReady([this] { return m_server->process().canReadLine(); });
    m_name = ':' + m_server->process().readLine().trimmed();
    if (windowManager == WindowManager::openbox)
        startWindowManager();
}

QStringList VirtualDisplay::environment() const {
    return {u"DISPLAY="_s + QString::fromLatin1(m_name),
            u"HOME="_s + folder() + u"/home"_s,
            u"XDG_RUNTIME_DIR="_s + folder() + u"/runtime"_s,
            u"XDG_CONFIG_HOME="_s,
            u"XDG_DATA_HOME="_s,
            u"XDG_STATE_HOME="_s,
            u"XDG_CACHE_HOME="_s,
            u"LC_ALL=C.UTF-8"_s, // xterm drops what the locale's encoding lacks
            u"DBUS_SESSION_BUS_ADDRESS=disabled:"_s,
            u"NO_AT_BRIDGE=1"_s,
            u"GTK_A11Y=none"_s,
            u"QT_QPA_PLATFORM=xcb"_s};
}

std::unique_ptr<ChildProcess> VirtualDisplay::start(const QString &program,
                                                    const QStringList &arguments) const {
    return std::make_unique<ChildProcess>(program, arguments, environment());
}

std::unique_ptr<Daemon> VirtualDisplay::startDaemon(const QString &program,
                                                    const QStringList &arguments) const {
    return std::make_unique<Daemon>(program, arguments, environment());
}

QByteArray VirtualDisplay::run(const QString &program, const QStringList &arguments) const {
    const auto child = start(program, arguments);
    auto &process = child->process();
    if (!process.waitForFinished(patienceMs) || process.exitCode() != 0)
        throw std::runtime_error(program.toStdString() + " failed");
    return process.readAllStandardOutput();
}

void VirtualDisplay::setLayout(const QStringList &arguments) const { run(u"setxkbmap"_s, arguments); }

void VirtualDisplay::startWindowManager() {
    m_windowManager = startDaemon(u"openbox"_s, {u"--sm-disable"_s});
    // It announces itself before it listens to requests, so it is asked until it takes on a window.
    const XcbClient client(m_name);
    const xcb_window_t probe = xcb_generate_id(client.xcb());
    xcb_create_window(client.xcb(), XCB_COPY_FROM_PARENT, probe, client.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    m_windowManager->waitUntilReady([&] {
        xcb_map_window(client.xcb(), probe);
        return !client.numbers(probe, "WM_STATE").empty() &&
               !client.numbers(client.root(), "_NET_CLIENT_LIST").empty();
    });
    xcb_destroy_window(client.xcb(), probe);
    m_windowManager->waitUntilReady(
        [&] { return client.numbers(client.root(), "_NET_CLIENT_LIST").empty(); });
}

void VirtualDisplay::stopWindowManager() { m_windowManager.reset(); }

} // namespace quillora::test
