#include "platform/linux/ProgramEnd.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Session.h"
#include "platform/linux/x11/X11Windows.h"
#include "support/VirtualDisplay.h"
#include "support/XcbClient.h"

#include <QGuiApplication>
#include <QTest>
#include <QWindow>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::X11Connection;
using test::ChildProcess;
using test::VirtualDisplay;

namespace {

const QString showWindowArgument = u"--show-window"_s;
const QString exitInAStepArgument = u"--exit-in-a-step"_s;

void say(const char *words) { std::fprintf(stderr, "%s\n", words); }

/// A program with a window, set up as ours is. What it says of its end goes to its standard output.
int showWindow(int &argc, char **argv) {
    ::dup2(STDOUT_FILENO, STDERR_FILENO);
    QGuiApplication application(argc, argv);
    const bool exitsInAStep = QCoreApplication::arguments().contains(exitInAStepArgument);
    std::optional<platform::ProgramEnd> end;
    platform::X11Session session([&] { end->endForLoss(); });
    end.emplace(std::vector<platform::ProgramEnd::Step>{[&] {
                                                            say("one");
                                                            if (exitsInAStep)
                                                                std::exit(7);
                                                        },
                                                        [] { say("two"); }},
                [&] { return session.lossReason(); });
    QWindow window;
    window.show();
    const int status = QGuiApplication::exec();
    end.reset();
    say("end");
    return status;
}

} // namespace

/// The end of a program that an X server shows.
class ProgramEndTest : public QObject {
    Q_OBJECT

public:
    enum class End { askedFor, toolkitLost, serverLost };
    Q_ENUM(End)

private Q_SLOTS:
    void init() {
        m_display = std::make_unique<VirtualDisplay>();
        m_connection = std::make_unique<X11Connection>(m_display->name());
        start({});
    }
    void cleanup() {
        m_program.reset();
        m_connection.reset();
        m_display.reset();
    }

    void whenTheServerGoesTheStepsAreTakenInOrder() {
        bringAbout(End::serverLost);
        assertTheProgramSays("one\ntwo\nQuillora: the X server has closed the connection.\n");
        QCOMPARE(m_program->process().exitCode(), 1);
    }

    void whenTheToolkitsConnectionAloneGoesTheStepsAreTakenInOrder() {
        bringAbout(End::toolkitLost);
        assertTheProgramSays("one\ntwo\nQuillora: the desktop has closed a connection.\n");
        QCOMPARE(m_program->process().exitCode(), 1);
    }

    void anEndThatSomebodyAskedForTakesTheSameSteps() {
        bringAbout(End::askedFor);
        assertTheProgramSays("one\ntwo\nend\n");
        QCOMPARE(m_program->process().exitCode(), 0);
    }

    void aStepThatExitsDoesNotKeepTheNextFromBeingTaken_data() {
        QTest::addColumn<End>("end");
        QTest::newRow("asked for") << End::askedFor;
        QTest::newRow("the toolkit's connection goes") << End::toolkitLost;
        QTest::newRow("the server goes") << End::serverLost;
    }
    void aStepThatExitsDoesNotKeepTheNextFromBeingTaken() {
        QFETCH(End, end);
        start({exitInAStepArgument});
        bringAbout(end);
        assertTheProgramSays(end == End::serverLost
                                 ? "one\ntwo\nQuillora: the X server has closed the connection.\n"
                                 : "one\ntwo\nQuillora: the desktop has closed a connection.\n");
        QCOMPARE(m_program->process().exitCode(), 1);
    }

private:
    void start(const QStringList &arguments) {
        m_program = m_display->start(QCoreApplication::applicationFilePath(),
                                     QStringList{showWindowArgument} + arguments);
        QTRY_VERIFY(programWindow());
    }

    void bringAbout(End end) {
        const test::XcbClient windowManager(m_display->name());
        switch (end) {
        case End::askedFor:
            askToClose(windowManager, *programWindow());
            break;
        case End::toolkitLost:
            xcb_kill_client(m_connection->xcb(), *programWindow());
            m_connection->sync();
            break;
        case End::serverLost:
            m_display->server().stop();
            break;
        }
    }

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
    ProgramEndTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "ProgramEndTest.moc"
