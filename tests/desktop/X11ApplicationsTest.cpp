#include "platform/linux/x11/X11Workspace.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QFile>
#include <QGuiApplication>
#include <QTest>
#include <QWindow>

#include <unistd.h>

using namespace quillora;
using platform::X11Connection;
using platform::X11Workspace;
using test::ChildProcess;
using test::TestWindow;
using test::VirtualDisplay;

namespace {

const QString showWindowArgument = u"--show-window"_qs;

/// A window of a program that is set up as this one is; never returns while the display lasts.
int showWindow(int argc, char **argv) {
    QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationName(X11Workspace::ownIdentifier());
    QWindow window;
    window.show();
    return QGuiApplication::exec();
}

} // namespace

/// The target of a dictation, wherever its window has gone to.
class X11ApplicationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { setUp(VirtualDisplay::WindowManager::openbox); }
    void cleanup() {
        m_workspace.reset();
        m_connection.reset();
        m_display.reset();
    }

    void theFrontmostApplicationIsKnownByTheClassOfItsWindow() {
        const auto window = shownWindow({"Editor", {}});
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Editor"_qs));
    }

    void aWindowWithoutAClassIsAnApplicationWithoutAnIdentifier() {
        const auto window = shownWindow({"", {}});
        const auto application = m_workspace->frontmostApplication();
        QVERIFY(application);
        QVERIFY(!application->bundleIdentifier());
    }

    void anyWindowOfThisProcessIsOurOwn() {
        const auto window = shownWindow({"Whatever", static_cast<uint32_t>(::getpid())});
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(),
                 m_workspace->mainBundleIdentifier());
    }

    void theToolkitGivesOurWindowsOurIdentifier() {
        const auto program = m_display->start(QCoreApplication::applicationFilePath(), {showWindowArgument});
        QTRY_VERIFY(m_workspace->frontmostApplication());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(),
                 m_workspace->mainBundleIdentifier());
    }

    void aMinimisedWindowComesBack() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        target->minimise();
        QTRY_VERIFY(!target->isViewable());
        application->activate();
        QTRY_VERIFY(target->isViewable() && target->isActive());
    }

    void aWindowOnAnotherDesktopIsGoneTo() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        target->moveToDesktop(1);
        QTRY_VERIFY(!target->isViewable());
        application->activate();
        QTRY_VERIFY(target->isViewable() && target->isActive() && target->hasFocus());
    }

    void aWindowBehindOthersComesForwardAndGetsTheKeyboard() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", {}});
        application->activate();
        QTRY_VERIFY(target->isActive() && target->hasFocus());
    }

    void aClosedWindowIsStoodInForByAnotherOfItsProcess() {
        const auto remaining = shownWindow({"Target", 4321});
        auto closed = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Target", 1234});
        closed->close();
        application->activate();
        QTRY_VERIFY(remaining->isActive());
    }

    void aClosedWindowWithoutAProcessIsStoodInForByAnotherOfItsClass() {
        const auto remaining = shownWindow({"Target", {}});
        auto closed = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", {}});
        closed->close();
        application->activate();
        QTRY_VERIFY(remaining->isActive());
    }

    void aProgramThatHasEndedChangesNothing() {
        auto target = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", 1234});
        target.reset();
        application->activate();
        m_connection->sync();
        QVERIFY(other->isActive());
        QVERIFY(m_connection->isUsable());
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_qs));
    }

    void anApplicationOutlivesTheConnection() {
        const auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        m_workspace.reset();
        m_connection.reset();
        application->activate();
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_qs));
    }

    void anOverrideRedirectWindowIsNoActivation() {
        QStringList activated;
        m_workspace->addActivationObserver([&](const platform::RunningApplicationHandle &application) {
            activated += application->bundleIdentifier().value_or(QString());
        });
        const auto target = shownWindow({"Target", {}});
        QTRY_COMPARE(activated, QStringList{u"Target"_qs});
        TestWindow menu(m_display->name(), {"Menu", {}, true});
        menu.show();
        menu.takeFocus();
        QTRY_VERIFY(menu.hasFocus());
        m_connection->sync();
        QCoreApplication::processEvents();
        QCOMPARE(activated, QStringList{u"Target"_qs});
    }

    void anOverrideRedirectWindowHasTheKeyboardWithoutAWindowManager() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow menu(m_display->name(), {"Menu", {}, true});
        menu.show();
        menu.takeFocus();
        QTRY_VERIFY(menu.hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Menu"_qs));
    }

    void aWindowManagerThatDiedIsNotAsked() {
        const auto first = shownWindow({"First", {}});
        const auto second = shownWindow({"Second", {}});
        m_display->stopWindowManager();
        QTRY_VERIFY(first->isViewable());
        first->takeFocus();
        QTRY_VERIFY(first->hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"First"_qs));
    }

    void withoutAWindowManagerTheKeyboardTells() {
        setUp(VirtualDisplay::WindowManager::none);
        QVERIFY(!m_workspace->frontmostApplication());
        TestWindow window(m_display->name(), {"Target", {}});
        window.show();
        window.takeFocus();
        QTRY_VERIFY(window.hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Target"_qs));
    }

    void withoutAWindowManagerTheKeyboardMayFollowThePointer() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow window(m_display->name(), {"Target", {}});
        window.show();
        const test::XcbClient hand(m_display->name());
        xcb_warp_pointer(hand.xcb(), XCB_NONE, window.id(), 0, 0, 0, 0, 20, 20);
        hand.sync();
        QTRY_VERIFY(m_workspace->frontmostApplication());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Target"_qs));
    }

    void withoutAWindowManagerAWindowIsMappedAndGetsTheKeyboard() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow target(m_display->name(), {"Target", {}});
        target.show();
        target.takeFocus();
        QTRY_VERIFY(target.hasFocus());
        const auto application = m_workspace->frontmostApplication();
        TestWindow other(m_display->name(), {"Other", {}});
        other.show();
        other.takeFocus();
        target.hide();
        application->activate();
        QTRY_VERIFY(target.isViewable() && target.hasFocus());
    }

    void aWindowManagerThatTellsNothingOfActiveWindowsIsDoneWithout() {
        setUp(VirtualDisplay::WindowManager::none);
        const auto manager = startSimpleWindowManager();
        TestWindow target(m_display->name(), {"Target", {}});
        target.show();
        QTRY_VERIFY(target.isManaged());
        target.takeFocus();
        QTRY_VERIFY(target.hasFocus());
        const auto application = m_workspace->frontmostApplication();
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_qs));
        TestWindow other(m_display->name(), {"Other", {}});
        other.show();
        other.takeFocus();
        QTRY_VERIFY(other.hasFocus());
        application->activate();
        QTRY_VERIFY(target.hasFocus());
    }

    void aMinimisedWindowComesBackUnderSuchAWindowManagerToo() {
        setUp(VirtualDisplay::WindowManager::none);
        const auto manager = startSimpleWindowManager();
        TestWindow target(m_display->name(), {"Target", {}});
        target.show();
        QTRY_VERIFY(target.isManaged());
        target.takeFocus();
        QTRY_VERIFY(target.hasFocus());
        const auto application = m_workspace->frontmostApplication();
        TestWindow other(m_display->name(), {"Other", {}});
        other.show();
        other.takeFocus();
        target.minimise();
        QTRY_VERIFY(!target.isViewable() && other.hasFocus());
        application->activate();
        QTRY_VERIFY(target.isViewable() && target.hasFocus());
    }

private:
    void setUp(VirtualDisplay::WindowManager windowManager) {
        cleanup();
        m_display = std::make_unique<VirtualDisplay>(windowManager);
        m_connection = std::make_unique<X11Connection>(m_display->name());
        m_workspace = std::make_unique<X11Workspace>(*m_connection);
    }

    /// In front, by the window manager's leave.
    std::unique_ptr<TestWindow> shownWindow(const TestWindow::Properties &properties) {
        auto window = std::make_unique<TestWindow>(m_display->name(), properties);
        window->show();
        ChildProcess::waitUntil([&] { return window->isActive(); }, 3000);
        return window;
    }

    std::unique_ptr<ChildProcess> startSimpleWindowManager() {
        const QString path = m_display->folder() + u"/twmrc"_qs;
        QFile settings(path);
        if (settings.open(QFile::WriteOnly))
            settings.write("RandomPlacement\nTitleFont \"fixed\"\nMenuFont \"fixed\"\nIconFont \"fixed\"\n"
                           "ResizeFont \"fixed\"\nIconManagerFont \"fixed\"\n");
        settings.close();
        return m_display->start(u"twm"_qs, {u"-f"_qs, path});
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<X11Connection> m_connection;
    std::unique_ptr<X11Workspace> m_workspace;
};

int main(int argc, char **argv) {
    if (argc > 1 && QString::fromLocal8Bit(argv[1]) == showWindowArgument)
        return showWindow(argc, argv);
    QCoreApplication application(argc, argv);
    X11ApplicationsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "X11ApplicationsTest.moc"
