#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "platform/linux/x11/X11Workspace.h"
#include "support/VirtualDisplay.h"
#include "support/XcbClient.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>
#include <QTest>

#include <csignal>
#include <xcb/xtest.h>

using namespace quillora;
using platform::X11Connection;
using platform::X11Events;
using test::VirtualDisplay;
using namespace std::chrono_literals;

namespace {

/// For waits that are over in a few seconds, on however busy a machine; they would last for ever otherwise.
constexpr auto generously = 60s;

} // namespace

/// One connection, and its end.
class X11ConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDisplayThatIsNotThereIsNotUsable() {
        X11Connection connection(QByteArray("unix:/nowhere/at/all:0"));
        QVERIFY(!connection.isUsable());
    }

    void everythingAnswersWithoutADisplay() {
        X11Connection connection(QByteArray("unix:/nowhere/at/all:0"));
        X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        platform::X11Keystrokes keystrokes(events, hotKeys);
        platform::X11Workspace workspace(events);
        QVERIFY(!hotKeys.take({49, 0x1800}, {}));
        QVERIFY(!keystrokes.isTrusted());
        std::optional<bool> isPosted;
        keystrokes.postPasteChord([] { return true; }, [&](bool outcome) { isPosted = outcome; });
        QCOMPARE(isPosted, false);
        QVERIFY(!workspace.frontmostApplication());
    }

    void eventsThatArriveDuringARequestAreDelivered() {
        const VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        events.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
        int changes = 0;
        connect(&events, &X11Events::received, [&](const xcb_generic_event_t *event) {
            changes += event->response_type == XCB_PROPERTY_NOTIFY;
        });
        const test::XcbClient other(display.name());
        xcb_change_property(other.xcb(), XCB_PROP_MODE_REPLACE, other.root(), XCB_ATOM_WM_NAME,
                            XCB_ATOM_STRING, 8, 1, "x");
        other.sync();
        connection.sync(); // reads the event into the queue of the library, where no socket tells of it
        QTRY_COMPARE(changes, 1);
    }

    void askingForTheTimeLosesNoEvent() {
        const VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        events.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
        int changes = 0;
        connect(&events, &X11Events::received, [&](const xcb_generic_event_t *event) {
            const auto *change = reinterpret_cast<const xcb_property_notify_event_t *>(event);
            changes += event->response_type == XCB_PROPERTY_NOTIFY && change->window == connection.root();
        });
        const test::XcbClient other(display.name());
        xcb_change_property(other.xcb(), XCB_PROP_MODE_REPLACE, other.root(), XCB_ATOM_WM_NAME,
                            XCB_ATOM_STRING, 8, 1, "x");
        other.sync();
        QVERIFY(connection.serverTime());
        QTRY_COMPARE(changes, 1);
    }

    void aFailedRequestIsForgotten() {
        const VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        constexpr xcb_window_t noWindow = 0x1234567;
        int received = 0;
        connect(&events, &X11Events::received, [&] { ++received; });
        xcb_map_window(connection.xcb(), noWindow);
        QVERIFY(!connection.reply(xcb_get_window_attributes_reply,
                                  xcb_get_window_attributes(connection.xcb(), noWindow)));
        QVERIFY(!connection.succeeds(xcb_map_window_checked(connection.xcb(), noWindow)));
        QCoreApplication::processEvents();
        QCOMPARE(received, 0);
        QVERIFY(connection.isUsable());
    }

    void anAnswerIsWaitedForUntilTheDeadline() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        display.server().signal(SIGSTOP);
        const QDeadlineTimer afterwards(generously);
        QVERIFY(!connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(connection.xcb()),
                                  QDeadlineTimer(20ms)));
        QVERIFY(!connection.serverTime(QDeadlineTimer(20ms)));
        QVERIFY(!afterwards.hasExpired());
        QVERIFY(connection.isSilent());
        display.server().signal(SIGCONT);
    }

    void aServerThatNeverGreetsIsNotUsable() {
        VirtualDisplay display;
        display.server().signal(SIGSTOP);
        const QDeadlineTimer afterwards(generously);
        const X11Connection connection(display.name());
        QVERIFY(!connection.isUsable());
        QVERIFY(!afterwards.hasExpired());
        display.server().signal(SIGCONT);
    }

    void aServerThatHangsCostsPatienceOnlyOnce() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        display.server().signal(SIGSTOP);
        const QDeadlineTimer afterwards(generously);
        while (!connection.isSilent())
            connection.sync();
        for (int i = 0; i < 20; ++i) {
            QVERIFY(!connection.sync());
            QVERIFY(!connection.has(xcb_test_id));
            QVERIFY(!connection.serverTime());
            QCOMPARE(connection.atom("OF_WHICH_NOBODY_HAS_HEARD"), xcb_atom_t{XCB_NONE});
            QVERIFY(!connection.succeeds(xcb_map_window_checked(connection.xcb(), connection.root())));
        }
        QVERIFY(!afterwards.hasExpired());
        display.server().signal(SIGCONT);
    }

    void aServerThatHungIsListenedToAgain() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        display.server().signal(SIGSTOP);
        constexpr xcb_window_t noWindow = 0x1234567;
        QVERIFY(!connection.serverTime(QDeadlineTimer(20ms)));
        QVERIFY(!connection.succeeds(xcb_map_window_checked(connection.xcb(), noWindow)));
        display.server().signal(SIGCONT);
        QTRY_VERIFY(!connection.isSilent());
        const auto before = connection.serverTime();
        const auto after = connection.serverTime();
        QVERIFY(before && after && *before <= *after);
        QVERIFY(connection.has(xcb_test_id));
        QVERIFY(connection.succeeds(xcb_map_window_checked(connection.xcb(), connection.root())));
    }

    void theLossOfTheServerIsToldOnce() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        QSignalSpy lost(&events, &X11Events::lost);
        display.server().stop();
        QTRY_COMPARE(lost.count(), 1);
        connection.sync();
        QCoreApplication::processEvents();
        QCOMPARE(lost.count(), 1);
    }

    void theEventLoopComesToRestAfterTheLoss() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        QSignalSpy lost(&events, &X11Events::lost);
        display.server().stop();
        QTRY_COMPARE(lost.count(), 1);
        QCoreApplication::processEvents();
        QVERIFY(!QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents));
    }

    void everythingAnswersAfterTheLoss() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        platform::X11Keystrokes keystrokes(events, hotKeys);
        platform::X11Workspace workspace(events);
        display.server().stop();
        QVERIFY(!hotKeys.take({49, 0x1800}, {}));
        std::optional<bool> isPosted;
        keystrokes.postPasteChord([] { return true; }, [&](bool outcome) { isPosted = outcome; });
        QCOMPARE(isPosted, false);
        QVERIFY(!keystrokes.isTrusted());
        QVERIFY(!workspace.frontmostApplication());
    }

    void aLossThatNobodyHasNoticedYetEndsTheTrust() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        platform::X11Keystrokes keystrokes(events, hotKeys);
        display.server().stop();
        QVERIFY(connection.isUsable());
        QVERIFY(!keystrokes.isTrusted());
    }

    void aLossAmidTheDeliveryOfAnEventIsSurvived() {
        VirtualDisplay display;
        X11Connection connection(display.name());
        X11Events events(connection);
        QSignalSpy received(&events, &X11Events::received);
        connect(&events, &X11Events::received, [&] {
            display.server().stop();
            connection.sync();
        });
        platform::X11HotKeys hotKeys(events); // hears of the event after that
        events.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
        xcb_change_property(connection.xcb(), XCB_PROP_MODE_REPLACE, connection.root(), XCB_ATOM_WM_NAME,
                            XCB_ATOM_STRING, 8, 1, "x");
        connection.flush();
        QTRY_COMPARE(received.count(), 1);
        QVERIFY(!connection.isUsable());
    }
};

QTEST_GUILESS_MAIN(X11ConnectionTest)
#include "X11ConnectionTest.moc"
