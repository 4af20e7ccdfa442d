#include "platform/linux/x11/X11Departure.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Windows.h"
#include "support/VirtualDisplay.h"
#include "support/XcbClient.h"

#include <QGuiApplication>
#include <QTest>
#include <QWindow>

#include <cstdio>
#include <unistd.h>

using namespace quillora;
using platform::X11Connection;
using test::ChildProcess;
using test::VirtualDisplay;

namespace {

const QString showWindowArgument = u"--show-window"_qs;

/// A program with a window, set up as ours is: the toolkit's connection and our own. What it says of its end
/// goes to its standard output.
int showWindow(int argc, char **argv) {
    ::dup2(STDOUT_FILENO, STDERR_FILENO);
    QGuiApplication application(argc, argv);
    X11Connection connection;
    const platform::X11Departure departure(connection, [] { std::fputs("Farewell.\n", stderr); });
    QWindow window;
    window.show();
    return QGuiApplication::exec();
}

} // namespace

/// The end of the program when the X server leaves it.
class X11DepartureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_display = std::make_unique<VirtualDisplay>();
        m_connection = std::make_unique<X11Connection>(m_display->name());
        m_program = m_display->start(QCoreApplication::applicationFilePath(), {showWindowArgument});
        QTRY_VERIFY(programWindow());
    }
    void cleanup() {
        m_program.reset();
        m_connection.reset();
        m_display.reset();
    }

    void theEndOfTheServerEndsTheProgramWithAFarewell() {
        m_display->server().stop();
        assertTheProgramSays("Farewell.\nQuillora: the X server has closed the connection.\n");
    }

    void theEndOfTheToolkitsConnectionAloneEndsTheProgramWithAFarewell() {
        xcb_kill_client(m_connection->xcb(), *programWindow());
        m_connection->sync();
        assertTheProgramSays("Farewell.\nQuillora: the desktop has closed a connection.\n");
    }

    void anEndThatSomebodyAskedForIsNoDeparture() {
        QVERIFY(m_program->isRunning());
        const test::XcbClient windowManager(m_display->name());
        askToClose(windowManager, *programWindow());
        QTRY_VERIFY(!m_program->isRunning());
        QCOMPARE(m_program->process().exitCode(), 0);
        QCOMPARE(m_program->process().readAllStandardOutput(), QByteArray());
    }

private:
    std::optional<xcb_window_t> programWindow() {
        const platform::X11Windows windows(*m_connection);
        for (const auto window : windows.stacked()) {
            if (windows.processId(window) == m_program->processId())
                return window;
        }
        return {};
    }

    void assertTheProgramSays(const QByteArray &words) {
        QTRY_VERIFY(!m_program->isRunning());
        auto &process = m_program->process();
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        // The toolkit may have something to say before.
        const auto said = process.readAllStandardOutput();
        QVERIFY2(said.endsWith(words), said.constData());
    }

    static void askToClose(const test::XcbClient &client, xcb_window_t window) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = client.atom("WM_PROTOCOLS");
        message.data.data32[0] = client.atom("WM_DELETE_WINDOW");
        xcb_send_event(client.xcb(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&message));
        client.sync();
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<X11Connection> m_connection;
    std::unique_ptr<ChildProcess> m_program;
};

int main(int argc, char **argv) {
    if (argc > 1 && QString::fromLocal8Bit(argv[1]) == showWindowArgument)
        return showWindow(argc, argv);
    QCoreApplication application(argc, argv);
    X11DepartureTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "X11DepartureTest.moc"
