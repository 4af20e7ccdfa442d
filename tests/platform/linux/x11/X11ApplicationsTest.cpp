#include "platform/linux/x11/X11Workspace.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QFile>
#include <QGuiApplication>
#include <QTest>
#include <QWindow>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::X11Connection;
using platform::X11Events;
using platform::X11Workspace;
using test::ChildProcess;
using test::TestWindow;
using test::VirtualDisplay;

Q_DECLARE_METATYPE(TestWindow::Properties)

namespace {

const QString showWindowArgument = u"--show-window"_s;

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
        m_events.reset();
        m_connection.reset();
        m_display.reset();
    }

    void theFrontmostApplicationIsKnownByTheClassOfItsWindow() {
        const auto window = shownWindow({"Editor", {}});
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Editor"_s));
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
        application->activate({});
        QTRY_VERIFY(target->isViewable() && target->isActive());
    }

    void aWindowThatHasComeBackIsReported() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        target->minimise();
        QTRY_VERIFY(!target->isViewable());
        QList<bool> outcomes;
        application->activate([&](bool isInFront) { outcomes += isInFront; });
        QTRY_COMPARE(outcomes, QList{true});
        QVERIFY(target->isActive());
    }

    void aWindowOnAnotherDesktopIsGoneTo() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        target->moveToDesktop(1);
        QTRY_VERIFY(!target->isViewable());
        application->activate({});
        QTRY_VERIFY(target->isViewable() && target->isActive() && target->hasFocus());
    }

    void aWindowBehindOthersComesForwardAndGetsTheKeyboard() {
        auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", {}});
        application->activate({});
        QTRY_VERIFY(target->isActive() && target->hasFocus());
    }

    void aClosedWindowIsStoodInForByAnotherOfItsProcess() {
        const auto remaining = shownWindow({"Target", 4321});
        auto closed = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Target", 1234});
        closed->close();
        application->activate({});
        QTRY_VERIFY(remaining->isActive());
    }

    void aClosedWindowWithoutAProcessIsStoodInForByAnotherOfItsClass() {
        const auto remaining = shownWindow({"Target", {}});
        auto closed = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", {}});
        closed->close();
        application->activate({});
        QTRY_VERIFY(remaining->isActive());
    }

    /// Each sandbox and each machine numbers its processes by itself.
    void anotherProgramWithTheNumberOfItsProcessIsNoStandIn_data() {
        QTest::addColumn<TestWindow::Properties>("stranger");
        QTest::newRow("of another class") << TestWindow::Properties{"Other", 2, false, "here"};
        QTest::newRow("without a class") << TestWindow::Properties{"", 2, false, "here"};
        QTest::newRow("on another machine") << TestWindow::Properties{"Target", 2, false, "there"};
        QTest::newRow("on a machine that is not told") << TestWindow::Properties{"Target", 2};
    }
    void anotherProgramWithTheNumberOfItsProcessIsNoStandIn() {
        QFETCH(TestWindow::Properties, stranger);
        const auto other = shownWindow(stranger);
        auto closed = shownWindow({"Target", 2, false, "here"});
        const auto application = m_workspace->frontmostApplication();
        const auto inFront = shownWindow({"In front", 3, false, "here"});
        closed->close();
        QCOMPARE(broughtForwardBy(*application), QStringList{u"Later"_s});
    }

    void windowsThatSayNothingOfTheirProgramDoNotStandInForOneAnother() {
        const auto other = shownWindow({"", {}});
        auto closed = shownWindow({"", {}});
        const auto application = m_workspace->frontmostApplication();
        const auto inFront = shownWindow({"In front", {}});
        closed->close();
        QCOMPARE(broughtForwardBy(*application), QStringList{u"Later"_s});
    }

    void aWindowThatItsProgramHasHiddenIsStoodInForByAnother() {
        const auto remaining = shownWindow({"Target", 4321});
        auto hidden = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", 1234});
        hidden->hide();
        QTRY_VERIFY(!hidden->isManaged());
        application->activate({});
        QTRY_VERIFY(remaining->isActive());
        QVERIFY(!hidden->isViewable());
    }

    void aWindowThatItsProgramHasHiddenStandsInForNone() {
        auto hidden = shownWindow({"Target", 4321});
        auto closed = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto inFront = shownWindow({"Other", 1234});
        hidden->hide();
        QTRY_VERIFY(!hidden->isManaged());
        closed->close();
        QCOMPARE(broughtForwardBy(*application), QStringList{u"Later"_s});
        QVERIFY(!hidden->isViewable());
    }

    /// The server gives the numbers of windows that are gone to others.
    void anotherProgramsWindowWithTheNumberOfAClosedOneIsLeftAlone() {
        auto target = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto inFront = shownWindow({"In front", 1234});
        target->replaceBy({"Another", 5678});
        bringInFront(*target);
        inFront->activate();
        QTRY_VERIFY(inFront->isActive());
        QCOMPARE(broughtForwardBy(*application), QStringList{u"Later"_s});
    }

    /// A program that ends and starts again in a sandbox has the number of its process again, too.
    void aWindowWithTheNumberOfAClosedOneIsAStrangerWhateverItSaysOfItsProcess() {
        auto target = shownWindow({"Target", 2, false, "here"});
        const auto application = m_workspace->frontmostApplication();
        const auto inFront = shownWindow({"In front", 1234, false, "here"});
        target->replaceBy({"Another", 2, false, "here"});
        bringInFront(*target);
        inFront->activate();
        QTRY_VERIFY(inFront->isActive());
        QCOMPARE(broughtForwardBy(*application), QStringList{u"Later"_s});
    }

    void aWindowThatChangesItsClassIsStillItself() {
        auto target = shownWindow({"start-center", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", 1234});
        target->setClass("writer");
        application->activate({});
        QTRY_VERIFY(target->isActive());
    }

    void aWindowWithTheNumberOfAClosedOneIsStoodInFor() {
        const auto remaining = shownWindow({"Target", 4321});
        auto target = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        target->replaceBy({"Another", 5678});
        bringInFront(*target);
        application->activate({});
        QTRY_VERIFY(remaining->isActive());
    }

    void aProgramThatHasEndedChangesNothing() {
        auto target = shownWindow({"Target", 4321});
        const auto application = m_workspace->frontmostApplication();
        const auto other = shownWindow({"Other", 1234});
        target.reset();
        application->activate({});
        m_connection->sync();
        QVERIFY(other->isActive());
        QVERIFY(m_connection->isUsable());
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_s));
    }

    void anApplicationOutlivesTheConnection() {
        const auto target = shownWindow({"Target", {}});
        const auto application = m_workspace->frontmostApplication();
        m_workspace.reset();
        m_events.reset();
        m_connection.reset();
        application->activate({});
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_s));
    }

    void anOverrideRedirectWindowIsNoActivation() {
        QStringList activated;
        m_workspace->addActivationObserver([&](const platform::RunningApplicationHandle &application) {
            activated += application->bundleIdentifier().value_or(QString());
        });
        const auto target = shownWindow({"Target", {}});
        QTRY_COMPARE(activated, QStringList{u"Target"_s});
        TestWindow menu(m_display->name(), {"Menu", {}, true});
        menu.show();
        menu.takeFocus();
        QTRY_VERIFY(menu.hasFocus());
        m_connection->sync();
        QCoreApplication::processEvents();
        QCOMPARE(activated, QStringList{u"Target"_s});
    }

    void anOverrideRedirectWindowHasTheKeyboardWithoutAWindowManager() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow menu(m_display->name(), {"Menu", {}, true});
        menu.show();
        menu.takeFocus();
        QTRY_VERIFY(menu.hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Menu"_s));
    }

    void aWindowManagerThatDiedIsNotAsked() {
        const auto first = shownWindow({"First", {}});
        const auto second = shownWindow({"Second", {}});
        m_display->stopWindowManager();
        QTRY_VERIFY(first->isViewable());
        first->takeFocus();
        QTRY_VERIFY(first->hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"First"_s));
    }

    void withoutAWindowManagerTheKeyboardTells() {
        setUp(VirtualDisplay::WindowManager::none);
        QVERIFY(!m_workspace->frontmostApplication());
        TestWindow window(m_display->name(), {"Target", {}});
        window.show();
        window.takeFocus();
        QTRY_VERIFY(window.hasFocus());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Target"_s));
    }

    void withoutAWindowManagerTheKeyboardMayFollowThePointer() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow window(m_display->name(), {"Target", {}});
        window.show();
        const test::XcbClient hand(m_display->name());
        xcb_warp_pointer(hand.xcb(), XCB_NONE, window.id(), 0, 0, 0, 0, 20, 20);
        hand.sync();
        QTRY_VERIFY(m_workspace->frontmostApplication());
        QCOMPARE(m_workspace->frontmostApplication()->bundleIdentifier(), std::optional(u"Target"_s));
    }

    void withoutAWindowManagerAWindowGetsTheKeyboard() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow target(m_display->name(), {"Target", {}});
        const auto application = applicationOf(target);
        TestWindow other(m_display->name(), {"Other", {}});
        giveKeyboard(other);
        application->activate({});
        QTRY_VERIFY(target.hasFocus());
    }

    void withoutAWindowManagerAWindowThatItsProgramHasHiddenStaysHidden() {
        setUp(VirtualDisplay::WindowManager::none);
        TestWindow target(m_display->name(), {"Target", {}});
        const auto application = applicationOf(target);
        TestWindow other(m_display->name(), {"Other", {}});
        giveKeyboard(other);
        target.hide();
        application->activate({});
        m_connection->sync();
        QVERIFY(!target.isViewable());
        QVERIFY(other.hasFocus());
    }

    void aWindowThatItsProgramHasHiddenStaysHiddenUnderASimpleWindowManager() {
        setUp(VirtualDisplay::WindowManager::none);
        const auto manager = startSimpleWindowManager();
        TestWindow target(m_display->name(), {"Target", {}});
        target.show();
        QTRY_VERIFY(target.isManaged());
        const auto application = applicationOf(target);
        TestWindow other(m_display->name(), {"Other", {}});
        giveKeyboard(other);
        target.hide();
        QTRY_VERIFY(!target.isViewable() && !target.isManaged());
        application->activate({});
        m_connection->sync();
        QVERIFY(!target.isViewable());
        QVERIFY(other.hasFocus());
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
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Target"_s));
        TestWindow other(m_display->name(), {"Other", {}});
        other.show();
        other.takeFocus();
        QTRY_VERIFY(other.hasFocus());
        application->activate({});
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
        application->activate({});
        QTRY_VERIFY(target.isViewable() && target.hasFocus());
    }

private:
    static void giveKeyboard(TestWindow &window) {
        window.show();
        window.takeFocus();
        ChildProcess::waitUntil([&] { return window.hasFocus(); });
    }

    /// One that takes the place of another may come in front by itself, or not, or late.
    static void bringInFront(TestWindow &window) {
        QTRY_VERIFY(window.isManaged());
        window.activate();
        QTRY_VERIFY(window.isActive());
    }

    /// The window has the keyboard afterwards.
    platform::RunningApplicationHandle applicationOf(TestWindow &window) {
        giveKeyboard(window);
        return m_workspace->frontmostApplication();
    }

    /// The classes of what comes to the front, up to a window that is opened afterwards: a window manager
    /// does one thing after the other.
    QStringList broughtForwardBy(platform::RunningApplication &application) {
        m_connection->sync();
        QCoreApplication::processEvents();
        QStringList activated;
        m_workspace->addActivationObserver([&](const platform::RunningApplicationHandle &active) {
            activated += active->bundleIdentifier().value_or(QString());
        });
        application.activate({});
        m_connection->sync();
        const auto later = shownWindow({"Later", {}});
        ChildProcess::waitUntil([&] { return activated.contains(u"Later"_s); });
        return activated;
    }

    void setUp(VirtualDisplay::WindowManager windowManager) {
        cleanup();
        m_display = std::make_unique<VirtualDisplay>(windowManager);
        m_connection = std::make_unique<X11Connection>(m_display->name());
        m_events = std::make_unique<X11Events>(*m_connection);
        m_workspace = std::make_unique<X11Workspace>(*m_events);
    }

    /// In front, by the window manager's leave.
    std::unique_ptr<TestWindow> shownWindow(const TestWindow::Properties &properties) {
        auto window = std::make_unique<TestWindow>(m_display->name(), properties);
        window->show();
        ChildProcess::waitUntil([&] { return window->isActive(); }, 3000);
        return window;
    }

    std::unique_ptr<test::Daemon> startSimpleWindowManager() {
        const QString path = m_display->folder() + u"/twmrc"_s;
        QFile settings(path);
        if (settings.open(QFile::WriteOnly))
            settings.write("RandomPlacement\nTitleFont \"fixed\"\nMenuFont \"fixed\"\nIconFont \"fixed\"\n"
                           "ResizeFont \"fixed\"\nIconManagerFont \"fixed\"\n");
        settings.close();
        return m_display->startDaemon(u"twm"_s, {u"-f"_s, path});
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<X11Connection> m_connection;
    std::unique_ptr<X11Events> m_events;
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
