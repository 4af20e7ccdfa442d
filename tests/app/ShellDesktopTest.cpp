#include "app/ShellDesktop.h"
#include "support/TestWindow.h"

#include <QImage>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ChildProcess;
using test::NotifierTray;

namespace {

const QString applicationName = u"org.quillora.Quillora"_s;
const QRect screen(0, 0, 1280, 800);
// So far from the icon's middle that a click there is no second one of a double click, but within the icon.
const QPoint apart(8, 0);

} // namespace

class ShellDesktopTest : public test::ShellDesktop {
    Q_OBJECT

private Q_SLOTS:
    void init() { begin(test::VirtualDisplay::WindowManager::openbox); }
    void cleanup() { end(); }

    // An X11 tray.

    void theIconDocksInAnX11Tray() {
        startWithTint2();
        QVERIFY(!panel());
        takeScreenshot(u"tray-xembed"_s);
    }

    void clickingTheIconOpensThePanelBesideItAndClickingAgainClosesIt() {
        startWithTint2();
        clickAt(icon()->center());
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(screen.contains(*panel()));
        QVERIFY(panel()->top() - icon()->bottom() < 12);
        QVERIFY(screen.right() - panel()->right() < 12);
        takeScreenshot(u"panel-xembed"_s);
        clickAt(icon()->center() + apart);
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
        QVERIFY(!appearsWithin([this] { return panel().has_value(); }));
    }

    void aDoubleClickOnTheIconOpensThePanel() {
        startWithTint2();
        clickAt(icon()->center(), leftButton, 2);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(!appearsWithin([this] { return !panel(); }));
    }

    void theTrayShowsThroughWhereTheIconIsClear() {
        startWithTint2();
        const auto cornerOfIcon = [this] {
            return QImage(takeScreenshot(u"tray-xembed"_s)).pixelColor(icon()->topLeft());
        };
        QTRY_COMPARE_WITH_TIMEOUT(cornerOfIcon(), QColor(test::colorOfTint2), patienceMs);
    }

    void aSecondaryClickOnTheIconOpensTheMenu() {
        startWithTint2();
        const auto windowsBefore = windows().size();
        clickAt(icon()->center(), rightButton);
        QTRY_COMPARE_WITH_TIMEOUT(windows().size(), windowsBefore + 1, patienceMs);
        takeScreenshot(u"menu-xembed"_s);
    }

    void anX11TrayThatComesUpLateGetsTheIcon() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        startTint2();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    void anX11TrayThatRestartsGetsTheIconAgain() {
        startWithTint2();
        endTrays();
        QTRY_VERIFY_WITH_TIMEOUT(!icon(), patienceMs);
        startTint2();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    void theIconMovesFromAnX11TrayToANotifierTray() {
        startWithTint2();
        m_notifierTray.emplace(m_bus->address());
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 1, patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!icon(), patienceMs);
        m_notifierTray.reset();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    // A StatusNotifier tray.

    void everyStateHasItsPictureInTheTray() {
        startWithNotifierTray();
        const QVariant idle = picture();
        clickMenu(u"Start dictation"_s);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        const QVariant recording = picture();
        clickMenu(u"Stop dictation"_s);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != recording && picture() != idle, patienceMs);
    }

    void activateOpensThePanelWhereTheTraySaysTheIconIs() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_s, {640, 790});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(screen.contains(*panel()));
        QVERIFY(std::abs(panel()->center().x() - 640) < 5);
        QVERIFY(panel()->bottom() >= 780);
        m_notifierTray->callItem(u"Activate"_s, {640, 790});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void withoutAPlaceThePanelOpensInTheCornerNearestToThePointer() {
        startWithNotifierTray();
        m_display->run(u"xdotool"_s, {u"mousemove"_s, u"1200"_s, u"700"_s});
        m_notifierTray->callItem(u"Activate"_s, {0, 0});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QCOMPARE(panel()->bottomRight(), screen.bottomRight());
    }

    void aTrayThatRestartsGetsTheIconAgain() {
        startWithNotifierTray();
        m_notifierTray.reset();
        m_notifierTray.emplace(m_bus->address());
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 1, patienceMs);
    }

    void aRealPanelShowsTheIcon() {
        startXfcePanel();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!registeredItems().isEmpty(), patienceMs);
        QVERIFY(registeredItems().first().contains(u"StatusNotifierItem"_s));
        QTRY_VERIFY_WITH_TIMEOUT(isIconInXfcePanel(), patienceMs);
        QVERIFY(!appearsWithin([this] { return panel().has_value(); }));
        takeScreenshot(u"tray-notifier"_s);
    }

    void clickingTheIconInARealPanelTogglesThePanel() {
        startXfcePanel();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!registeredItems().isEmpty(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(isIconInXfcePanel(), patienceMs);
        clickAt(iconInXfcePanel);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(screen.contains(*panel()));
        takeScreenshot(u"panel-notifier"_s);
        clickAt(iconInXfcePanel + apart);
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    // Shortcuts of the desktop's own.

    void theDesktopPressesAndReleasesTheHotKey() {
        startWithNotifierTray();
        const QVariant idle = picture();
        QVERIFY(ask(u"Press"_s));
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        const QVariant recording = picture();
        QVERIFY(ask(u"Press"_s)); // held keys repeat
        QVERIFY(ask(u"Release"_s));
        QTRY_VERIFY_WITH_TIMEOUT(picture() != recording && picture() != idle, patienceMs);
    }

    void theDesktopStartsAndStopsADictation() {
        startWithNotifierTray();
        const QVariant idle = picture();
        QVERIFY(ask(u"Toggle"_s));
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        const QVariant recording = picture();
        QVERIFY(ask(u"Toggle"_s));
        QTRY_VERIFY_WITH_TIMEOUT(picture() != recording && picture() != idle, patienceMs);
    }

    void theDesktopShowsThePanel() {
        startWithNotifierTray();
        QVERIFY(!panel());
        QVERIFY(ask(u"ShowPanel"_s));
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    void whatTheDesktopCanAskForIsDescribedOnTheBus() {
        startWithNotifierTray();
        const auto answer = m_bus->connection().call(
            QDBusMessage::createMethodCall(applicationName, u"/org/quillora/Quillora"_s,
                                           u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
        const QString description = answer.arguments().value(0).toString();
        for (const QString &method : {u"Press"_s, u"Release"_s, u"Toggle"_s, u"ShowPanel"_s})
            QVERIFY2(description.contains(u"<method name=\"%1\""_s.arg(method)), qPrintable(description));
    }

    // The popover.

    void thePanelClosesWhenAnotherWindowTakesTheFocus() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_s, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        test::TestWindow other(m_display->name(), {});
        other.show();
        m_display->run(u"xdotool"_s, {u"windowactivate"_s, QString::number(other.id())});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void thePanelStaysWhileAHotKeyIsCaptured() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_s, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        pressRecordHotKeyButton();
        test::TestWindow other(m_display->name(), {});
        other.show();
        m_display->run(u"xdotool"_s, {u"windowactivate"_s, QString::number(other.id())});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
    }

    void anEscapeThatIsHeldCancelsACaptureAndLeavesThePanelOpen() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_s, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        m_display->run(u"xset"_s, {u"r"_s, u"rate"_s, u"100"_s, u"30"_s});
        pressRecordHotKeyButton();
        m_display->run(u"xdotool"_s, {u"keydown"_s, u"Escape"_s});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
        m_display->run(u"xdotool"_s, {u"keyup"_s, u"Escape"_s});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
        m_display->run(u"xdotool"_s, {u"key"_s, u"Escape"_s}); // the capture is over, so it closes
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void thePanelIsInNoTaskBar() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_s, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"_NET_WM_STATE"_s).contains("_NET_WM_STATE_SKIP_TASKBAR"));
    }

    void thePanelHasTheMenuToo() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        const auto windowsBefore = windows().size();
        clickAt(panel()->topLeft() + QPoint(250, 20), rightButton);
        QTRY_VERIFY_WITH_TIMEOUT(windows().size() > windowsBefore, patienceMs);
        takeScreenshot(u"menu"_s);
        // Round to the last entry, which ends the program.
        m_display->run(u"xdotool"_s, {u"key"_s, u"Up"_s, u"Return"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void theWindowsCarryTheProgramsClass() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"WM_CLASS"_s).contains("\"Quillora\""));
        QVERIFY(property(u"_NET_WM_PID"_s).contains(QByteArray::number(m_shell->processId())));
    }

    // No tray.

    void withoutATrayThePanelOpensAsAnOrdinaryWindow() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"_NET_WM_WINDOW_TYPE"_s).contains("_NET_WM_WINDOW_TYPE_NORMAL"));
        QVERIFY(!property(u"_NET_WM_STATE"_s).contains("SKIP_TASKBAR"));
        const QByteArray actions = property(u"_NET_WM_ALLOWED_ACTIONS"_s);
        QVERIFY(actions.contains("_NET_WM_ACTION_MINIMIZE"));
        QVERIFY(actions.contains("_NET_WM_ACTION_CLOSE"));
        QCOMPARE(title(), QByteArray("Quillora"));
        takeScreenshot(u"panel-without-tray"_s);
    }

    void closingThatWindowLeavesTheProgramRunningAndAnotherStartBringsItBack() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        m_display->run(u"xdotool"_s, {u"key"_s, u"alt+F4"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
        QVERIFY(m_shell->isRunning());
        const auto second = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!second->isRunning(), patienceMs);
        QCOMPARE(second->process().exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(m_shell->isRunning());
    }

    void escapeLeavesTheOnlyWayInAmongTheMinimisedWindows() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        press(u"Escape"_s);
        QTRY_VERIFY_WITH_TIMEOUT(isPanelMinimised(), patienceMs);
    }

    void aTrayThatDiesLeavesTheWindowAmongTheMinimisedOnes_data() {
        QTest::addColumn<bool>("isNotifierTray");
        QTest::newRow("X11") << false;
        QTest::newRow("StatusNotifier") << true;
    }
    void aTrayThatDiesLeavesTheWindowAmongTheMinimisedOnes() {
        QFETCH(bool, isNotifierTray);
        if (isNotifierTray)
            startWithNotifierTray({u"--at-login"_s});
        else
            startWithTint2(u"panel_position = top right horizontal"_s, {}, {u"--at-login"_s});
        m_notifierTray.reset();
        m_trays.clear();
        QTRY_VERIFY_WITH_TIMEOUT(isPanelMinimised(), patienceMs);
        QVERIFY(!panel());
        startTint2();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!isPanelMinimised(), patienceMs);
    }

    void atLoginWithoutATrayTheWindowStartsMinimisedAndDisturbsNobody() {
        test::TestWindow other(m_display->name(), {});
        other.show();
        other.activate();
        QTRY_VERIFY_WITH_TIMEOUT(other.isActive(), patienceMs);
        m_shell = startShell({u"--at-login"_s});
        QTRY_VERIFY_WITH_TIMEOUT(isPanelMinimised(), patienceMs);
        QVERIFY(!panel());
        QVERIFY(other.isActive());
        takeScreenshot(u"at-login-without-tray"_s);
        const auto second = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    void aStartAtLoginLeavesTheRunningInstanceAlone() {
        startWithNotifierTray();
        const auto second = startShell({u"--at-login"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!second->isRunning(), patienceMs);
        QCOMPARE(second->process().exitCode(), 0);
        QVERIFY(!appearsWithin([this] { return panel().has_value(); }));
    }

    void aStartAtLoginReplacesAHungInstanceToo() {
        startWithNotifierTray();
        m_shell->signal(SIGSTOP);
        const auto second = startShell({u"--at-login"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 2, patienceMs);
        m_shell->signal(SIGCONT);
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
    }

    void anotherStartBringsAMinimisedWindowBack() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        m_display->run(u"xdotool"_s, {u"windowminimize"_s, QString::number(panelWindow())});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
        const auto second = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    // One instance.

    void anotherStartOpensThePanelOfTheRunningInstance() {
        startWithNotifierTray();
        const auto second = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!second->isRunning(), patienceMs);
        QCOMPARE(second->process().exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QCOMPARE(m_notifierTray->items().size(), 1);
    }

    void aHungInstanceDoesNotBlockAStart() {
        startWithNotifierTray();
        m_shell->signal(SIGSTOP);
        const auto second = startShell();
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 2, patienceMs);
        QVERIFY(second->isRunning());
        m_shell->signal(SIGCONT);
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
        QVERIFY(second->isRunning());
    }

    void aForeignOwnerOfTheNameDoesNotBlockAStart() {
        QVERIFY(m_bus->connection().registerService(applicationName));
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    void withoutABusEveryStartIsAFirstOne() {
        m_shell = m_display->start(shellProgram());
        QTRY_COMPARE_WITH_TIMEOUT(panelWindows().size(), 1, patienceMs);
        const auto second = m_display->start(shellProgram());
        QTRY_COMPARE_WITH_TIMEOUT(panelWindows().size(), 2, patienceMs);
        QVERIFY(m_shell->isRunning());
        QVERIFY(second->isRunning());
    }

    void theProgramOutlivesTheBus() {
        startWithNotifierTray();
        m_notifierTray.reset();
        m_bus.reset();
        QVERIFY(!appearsWithin([this] { return !m_shell->isRunning(); }));
    }

    // Start-up that fails.

    void aTakenHotKeyIsShownAtOnce() {
        startWithNotifierTray({u"--taken"_s}); // or the panel opened because nothing else leads to it
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    void aComputerThatRecognizesNothingIsToldSo() {
        m_shell = startShell({u"--no-languages"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!windows().isEmpty(), patienceMs);
        takeScreenshot(u"no-languages"_s);
        QVERIFY(m_shell->isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(activeWindow() == windows().value(0), patienceMs);
        m_display->run(u"xdotool"_s, {u"key"_s, u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
        QCOMPARE(m_shell->process().exitCode(), 1);
    }

    // Quitting.

    void quitInTheMenuEndsTheProgram() {
        startWithNotifierTray();
        clickMenu(u"Quit"_s);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void quitDuringADictationEndsTheProgram() {
        startWithNotifierTray();
        const QVariant idle = picture();
        clickMenu(u"Start dictation"_s);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        clickMenu(u"Quit"_s);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void aSignalEndsTheProgramInGoodOrder_data() {
        QTest::addColumn<int>("number");
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("SIGTERM") << SIGTERM << QStringList();
        QTest::newRow("SIGINT") << SIGINT << QStringList();
        QTest::newRow("SIGHUP") << SIGHUP << QStringList();
        QTest::newRow("and another one meanwhile") << SIGTERM << QStringList{u"--impatient"_s};
    }
    void aSignalEndsTheProgramInGoodOrder() {
        QFETCH(int, number);
        QFETCH(QStringList, arguments);
        startWithNotifierTray(arguments);
        m_shell->signal(number);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

private:
    static constexpr QPoint iconInXfcePanel{1264, 15};

    /// The panel's own ground is one colour there.
    bool isIconInXfcePanel() const {
        const QImage picture(takeScreenshot(u"tray-notifier"_s));
        const QRgb first = picture.pixel(iconInXfcePanel - QPoint(8, 0));
        for (int x = -7; x < 8; ++x) {
            if (picture.pixel(iconInXfcePanel + QPoint(x, 0)) != first)
                return true;
        }
        return false;
    }

    /// As the command of a key does that is bound in the desktop's settings.
    bool ask(const QString &method) const {
        const auto child = m_display->start(
            u"env"_s, onBus(u"dbus-send"_s) + QStringList{u"--print-reply"_s, u"--dest="_s + applicationName,
                                                          u"/org/quillora/Quillora"_s,
                                                          u"org.quillora.Quillora."_s + method});
        return child->process().waitForFinished() && child->process().exitCode() == 0;
    }
};

QTEST_GUILESS_MAIN(ShellDesktopTest)

#include "ShellDesktopTest.moc"
