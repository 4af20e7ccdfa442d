#include "platform/linux/DesktopSessions.h"
#include "platform/HotKeys.h"
#include "platform/Keystrokes.h"
#include "platform/OwnWindows.h"
#include "platform/Pasteboard.h"
#include "platform/Workspace.h"
#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <array>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::DesktopSession;

class DesktopSessionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        qputenv("DISPLAY", m_display.name());
        qputenv("XDG_RUNTIME_DIR", m_runtimeFolder.path().toUtf8());
        qunsetenv("WAYLAND_DISPLAY");
        qunsetenv("XDG_SESSION_TYPE");
        qunsetenv("XDG_CURRENT_DESKTOP");
    }

    // Which session it is.

    void whereNoCompositorIsTheXServerIsTheSession() { QVERIFY(givesHotKeysAndKeystrokes(*open())); }

    void aCompositorThatAnswersComesBeforeTheXServer() {
        const auto compositor = listen(u"wayland-7"_s);
        qputenv("WAYLAND_DISPLAY", m_runtimeFolder.filePath(u"wayland-7"_s).toUtf8());
        QVERIFY(givesNothing(*open()));
    }

    void theCompositorIsLookedForInTheRuntimeFolder() {
        const auto compositor = listen(u"wayland-7"_s);
        qputenv("WAYLAND_DISPLAY", "wayland-7");
        QVERIFY(givesNothing(*open()));
    }

    void oneThatIsBusyAndHasOthersWaitingCountsToo() {
        const auto compositor = listen(u"wayland-7"_s, 0);
        std::array<QLocalSocket, 3> others;
        for (QLocalSocket &other : others)
            other.connectToServer(compositor->fullServerName());
        QVERIFY(others.back().state() != QLocalSocket::ConnectedState);
        qputenv("WAYLAND_DISPLAY", "wayland-7");
        QVERIFY(givesNothing(*open()));
    }

    void aCompositorThatHasGoneDoesNotCount() {
        qputenv("WAYLAND_DISPLAY", "wayland-8");
        QVERIFY(givesHotKeysAndKeystrokes(*open()));
    }

    void whatTheDesktopIsCalledDoesNotMatter() {
        qputenv("XDG_SESSION_TYPE", "wayland");
        qputenv("XDG_CURRENT_DESKTOP", "KDE");
        QVERIFY(givesHotKeysAndKeystrokes(*open()));
    }

    void aWindowGoesWhereItIsPutUnlessThereIsACompositor() {
        QVERIFY(open()->ownWindows().canPlace());
        QVERIFY(!openPlain()->ownWindows().canPlace());
    }

    // How it is left.

    void leavingGivesTheKeyboardBackThoughTheHotKeyIsHeld() {
        const auto session = open();
        const auto hotKey = session->hotKeys().take(controlSpace, {});
        test::TestKeyboard keyboard(m_display.name());
        keyboard.press(test::TestKeyboard::control);
        keyboard.press(test::TestKeyboard::space);
        QVERIFY(!keyboardCanBeTakenElsewhere());
        session->leave();
        QVERIFY(keyboardCanBeTakenElsewhere());
    }

    // What a session gives that lets programs do nothing beyond their own windows.

    void nothingIsKnownOfOtherPrograms() {
        const auto session = openPlain();
        QVERIFY(!session->workspace().frontmostApplication());
        const auto token = session->workspace().addActivationObserver([](const auto &) {});
        QVERIFY(token != 0);
        session->workspace().removeActivationObserver(token);
    }

    void aCaptureOfAHotKeyCanBeginAndEnd() { QVERIFY(openPlain()->hotKeys().suspend()); }

    void whatStandsOnTheClipboardIsNotRead() {
        const auto session = openPlain();
        QGuiApplication::clipboard()->setText(u"before"_s);
        QCOMPARE(session->pasteboard().save()->found(), platform::SavedPasteboard::Found::noAccess);
    }

    void aTextIsCopiedAfterAKeyInAWindowOfOurs() {
        const auto session = openPlain();
        QWindow window;
        focus(window);
        QTest::keyClick(&window, Qt::Key_A);
        QVERIFY(copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"hello"_s);
    }

    void aTextIsCopiedAfterAClickInAWindowOfOurs() {
        const auto session = openPlain();
        QWindow window;
        focus(window);
        QTest::mouseClick(&window, Qt::LeftButton);
        QVERIFY(copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"hello"_s);
    }

    void aWindowInWhichTheUserHasDoneNothingLeavesTheClipboardAlone() {
        const auto session = openPlain();
        QWindow window;
        focus(window);
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

    void onceTheFocusIsGoneTheClipboardIsLeftAlone() {
        const auto session = openPlain();
        {
            QWindow window;
            focus(window);
            QTest::keyClick(&window, Qt::Key_A);
        }
        QTRY_VERIFY(!QGuiApplication::focusWindow());
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

    void whatTheUserDidBeforeTheFocusWentDoesNotCount() {
        const auto session = openPlain();
        {
            QWindow window;
            focus(window);
            QTest::keyClick(&window, Qt::Key_A);
        }
        QTRY_VERIFY(!QGuiApplication::focusWindow());
        QWindow another;
        focus(another);
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

    void whatTheUserDidBeforeTheFocusWentDoesNotCountOnceItIsBack() {
        const auto session = openPlain();
        QWindow window;
        focus(window);
        QTest::keyClick(&window, Qt::Key_A);
        Q_EMIT qGuiApp->focusWindowChanged(nullptr); // so the toolkit says
        focus(window);
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

    void aKeyInOneWindowLetsNoOtherOneCopy() {
        const auto session = openPlain();
        QWindow window;
        QWindow another;
        focus(another);
        focus(window);
        QTest::keyClick(&window, Qt::Key_A);
        focus(another);
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

    void aKeyThatAProgramHasMadeUpDoesNotCount() {
        const auto session = openPlain();
        QWindow window;
        focus(window);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
        QCoreApplication::sendEvent(&window, &key);
        QVERIFY(!copy(*session));
        QCOMPARE(QGuiApplication::clipboard()->text(), u"before"_s);
    }

private:
    static std::unique_ptr<DesktopSession> open() {
        return platform::openDesktopSession([] {});
    }

    std::unique_ptr<DesktopSession> openPlain() const {
        const auto compositor = listen(u"wayland-9"_s);
        qputenv("WAYLAND_DISPLAY", "wayland-9");
        return open();
    }

    static void focus(QWindow &window) {
        window.show();
        window.requestActivate();
        QTRY_COMPARE(QGuiApplication::focusWindow(), &window);
    }

    static bool copy(DesktopSession &session) {
        QGuiApplication::clipboard()->setText(u"before"_s);
        return session.pasteboard().write(u"hello"_s, nullptr);
    }

    std::unique_ptr<QLocalServer> listen(const QString &name, int backlog = 50) const {
        auto server = std::make_unique<QLocalServer>();
        server->setListenBacklogSize(backlog);
        if (!server->listen(m_runtimeFolder.filePath(name)))
            qFatal("nothing can listen there");
        return server;
    }

    bool keyboardCanBeTakenElsewhere() const {
        const test::XcbClient other(m_display.name());
        const auto answer = test::XcbClient::owned(
            xcb_grab_keyboard_reply(other.xcb(),
                                    xcb_grab_keyboard(other.xcb(), 0, other.root(), XCB_CURRENT_TIME,
                                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                    nullptr));
        return answer && answer->status == XCB_GRAB_STATUS_SUCCESS;
    }

    static constexpr platform::KeyCombination controlSpace{49, platform::controlModifier};

    static bool takesHotKeys(DesktopSession &session) {
        return session.hotKeys().take(controlSpace, {}) != nullptr;
    }
    static bool givesHotKeysAndKeystrokes(DesktopSession &session) {
        return takesHotKeys(session) && session.keystrokes().isTrusted();
    }
    static bool givesNothing(DesktopSession &session) {
        return !takesHotKeys(session) && !session.keystrokes().isTrusted() &&
               !session.keystrokes().isTrustedWithPrompt();
    }

    const test::VirtualDisplay m_display;
    const QTemporaryDir m_runtimeFolder;
};

QTEST_MAIN(DesktopSessionsTest)
#include "DesktopSessionsTest.moc"
