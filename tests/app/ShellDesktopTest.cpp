#include "platform/Platform.h"
#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRect>
#include <QTest>

#include <csignal>

using namespace quillora;
using test::ChildProcess;
using test::NotifierTray;

namespace {

const QString applicationName = u"org.quillora.Quillora"_qs;
const QRect screen(0, 0, 1280, 800);
constexpr int longestDoubleClickMs = 400; // the toolkit's

const auto tint2Configuration = R"(panel_items = S
panel_position = top right horizontal
panel_size = 200 28
panel_background_id = 1
systray_icon_size = 22
wm_menu = 0
rounded = 0
border_width = 0
background_color = %1 100
)";

const auto xfcePanelConfiguration = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="30"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
        <value type="int" value="2"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
    </property>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
)";

} // namespace

class ShellDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_display.emplace(test::VirtualDisplay::WindowManager::openbox);
        m_bus.emplace();
    }
    void cleanup() {
        m_shell.reset();
        m_notifierTray.reset();
        endTrays();
        m_bus.reset();
        m_display.reset();
    }

    // An X11 tray.

    void theIconDocksInAnX11Tray() {
        startTint2();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
        QVERIFY(!panel());
        takeScreenshot(u"tray-xembed"_qs);
    }

    void clickingTheIconOpensThePanelBesideItAndClickingAgainClosesIt() {
        startTint2();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
        clickAt(icon()->center());
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(screen.contains(*panel()));
        QVERIFY(panel()->top() - icon()->bottom() < 12);
        QVERIFY(screen.right() - panel()->right() < 12);
        takeScreenshot(u"panel-xembed"_qs);
        QTest::qWait(longestDoubleClickMs); // or the two clicks were one that opens, and nothing else
        clickAt(icon()->center());
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
        QVERIFY(!appearsWithin([this] { return panel().has_value(); }));
    }

    void anX11TrayThatComesUpLateGetsTheIcon() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        startTint2();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    void anX11TrayThatRestartsGetsTheIconAgain() {
        startTint2();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
        endTrays();
        QTRY_VERIFY_WITH_TIMEOUT(!icon(), patienceMs);
        startTint2();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    void theIconMovesFromAnX11TrayToANotifierTray() {
        startTint2();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
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
        clickMenu(u"Start dictation"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        const QVariant recording = picture();
        clickMenu(u"Stop dictation"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != recording && picture() != idle, patienceMs);
    }

    void activateOpensThePanelWhereTheTraySaysTheIconIs() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_qs, {640, 790});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(screen.contains(*panel()));
        QVERIFY(std::abs(panel()->center().x() - 640) < 5);
        QVERIFY(panel()->bottom() >= 780);
        m_notifierTray->callItem(u"Activate"_qs, {640, 790});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void withoutAPlaceThePanelOpensInTheCornerNearestToThePointer() {
        startWithNotifierTray();
        m_display->run(u"xdotool"_qs, {u"mousemove"_qs, u"1200"_qs, u"700"_qs});
        m_notifierTray->callItem(u"Activate"_qs, {0, 0});
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
        QVERIFY(registeredItems().first().contains(u"StatusNotifierItem"_qs));
        QVERIFY(!appearsWithin([this] { return panel().has_value(); }));
        takeScreenshot(u"tray-notifier"_qs);
    }

    void clickingTheIconInARealPanelTogglesThePanel() {
        startXfcePanel();
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!registeredItems().isEmpty(), patienceMs);
        const QPoint iconInPanel(1264, 15);
        QTRY_VERIFY_WITH_TIMEOUT(
            clickAt(iconInPanel) && appearsWithin([this] { return panel().has_value(); }), patienceMs);
        QVERIFY(screen.contains(*panel()));
        takeScreenshot(u"panel-notifier"_qs);
        clickAt(iconInPanel);
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    // The popover.

    void thePanelClosesWhenAnotherWindowTakesTheFocus() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_qs, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        test::TestWindow other(m_display->name(), {});
        other.show();
        m_display->run(u"xdotool"_qs, {u"windowactivate"_qs, QString::number(other.id())});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void thePanelStaysWhileAHotKeyIsCaptured() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_qs, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        pressRecordHotKeyButton();
        test::TestWindow other(m_display->name(), {});
        other.show();
        m_display->run(u"xdotool"_qs, {u"windowactivate"_qs, QString::number(other.id())});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
    }

    void anEscapeThatIsHeldCancelsACaptureAndLeavesThePanelOpen() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_qs, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), panelWindow(), patienceMs);
        m_display->run(u"xset"_qs, {u"r"_qs, u"rate"_qs, u"100"_qs, u"30"_qs});
        pressRecordHotKeyButton();
        m_display->run(u"xdotool"_qs, {u"keydown"_qs, u"Escape"_qs});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
        m_display->run(u"xdotool"_qs, {u"keyup"_qs, u"Escape"_qs});
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
        m_display->run(u"xdotool"_qs, {u"key"_qs, u"Escape"_qs}); // the capture is over, so it closes
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void thePanelIsInNoTaskBar() {
        startWithNotifierTray();
        m_notifierTray->callItem(u"Activate"_qs, {1200, 10});
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"_NET_WM_STATE"_qs).contains("_NET_WM_STATE_SKIP_TASKBAR"));
    }

    void thePanelHasTheMenuToo() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        const auto windowsBefore = windows().size();
        clickAt(panel()->topLeft() + QPoint(250, 20), rightButton);
        QTRY_VERIFY_WITH_TIMEOUT(windows().size() > windowsBefore, patienceMs);
        takeScreenshot(u"menu"_qs);
        // Round to the last entry, which ends the program.
        m_display->run(u"xdotool"_qs, {u"key"_qs, u"Up"_qs, u"Return"_qs});
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void theWindowsCarryTheProgramsClass() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"WM_CLASS"_qs).contains("\"Quillora\""));
        QVERIFY(property(u"_NET_WM_PID"_qs).contains(QByteArray::number(m_shell->processId())));
    }

    // No tray.

    void withoutATrayThePanelOpensAsAnOrdinaryWindow() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(property(u"_NET_WM_WINDOW_TYPE"_qs).contains("_NET_WM_WINDOW_TYPE_NORMAL"));
        QVERIFY(!property(u"_NET_WM_STATE"_qs).contains("SKIP_TASKBAR"));
        const QByteArray actions = property(u"_NET_WM_ALLOWED_ACTIONS"_qs);
        QVERIFY(actions.contains("_NET_WM_ACTION_MINIMIZE"));
        QVERIFY(actions.contains("_NET_WM_ACTION_CLOSE"));
        QCOMPARE(title(), QByteArray("Quillora"));
        takeScreenshot(u"panel-without-tray"_qs);
    }

    void closingThatWindowLeavesTheProgramRunningAndAnotherStartBringsItBack() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        m_display->run(u"xdotool"_qs, {u"key"_qs, u"alt+F4"_qs});
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
        QVERIFY(m_shell->isRunning());
        const auto second = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(!second->isRunning(), patienceMs);
        QCOMPARE(second->process().exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(m_shell->isRunning());
    }

    void anotherStartBringsAMinimisedWindowBack() {
        m_shell = startShell();
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        m_display->run(u"xdotool"_qs, {u"windowminimize"_qs, QString::number(panelWindow())});
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
        startWithNotifierTray({u"--taken"_qs}); // or the panel opened because nothing else leads to it
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
    }

    void aComputerThatRecognizesNothingIsToldSo() {
        m_shell = startShell({u"--no-languages"_qs});
        QTRY_VERIFY_WITH_TIMEOUT(!windows().isEmpty(), patienceMs);
        takeScreenshot(u"no-languages"_qs);
        QVERIFY(m_shell->isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(activeWindow() == windows().value(0), patienceMs);
        m_display->run(u"xdotool"_qs, {u"key"_qs, u"Escape"_qs});
        QTRY_VERIFY_WITH_TIMEOUT(!m_shell->isRunning(), patienceMs);
        QCOMPARE(m_shell->process().exitCode(), 1);
    }

    // Quitting.

    void quitInTheMenuEndsTheProgram() {
        startWithNotifierTray();
        clickMenu(u"Quit"_qs);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void quitDuringADictationEndsTheProgram() {
        startWithNotifierTray();
        const QVariant idle = picture();
        clickMenu(u"Start dictation"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(picture() != idle, patienceMs);
        clickMenu(u"Quit"_qs);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

    void aSignalEndsTheProgramInGoodOrder_data() {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void aSignalEndsTheProgramInGoodOrder() {
        QFETCH(int, number);
        startWithNotifierTray();
        m_shell->signal(number);
        QVERIFY(endsWithinASecond());
        QCOMPARE(m_shell->process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_shell->process().exitCode(), 0);
    }

private:
    static constexpr int patienceMs = 15000;
    static constexpr int leftButton = 1;
    static constexpr int rightButton = 3;

    static QString shellProgram() { return QStringLiteral(QUILLORA_SHELL_ON_FAKES); }

    /// What `env` is told to start a program that knows the bus.
    QStringList onBus(const QString &program) const {
        return {u"DBUS_SESSION_BUS_ADDRESS="_qs + m_bus->address(), u"GSETTINGS_BACKEND=memory"_qs, program};
    }

    std::unique_ptr<ChildProcess> startShell(const QStringList &arguments = {}) {
        return m_display->start(u"env"_qs, onBus(shellProgram()) + arguments);
    }

    void startTray(const QString &program, const QStringList &arguments = {}) {
        m_trays.push_back(m_display->startDaemon(u"env"_qs, onBus(program) + arguments));
    }

    /// The last one that was started may need those before it.
    void endTrays() {
        while (!m_trays.empty())
            m_trays.pop_back();
    }

    void startWithNotifierTray(const QStringList &arguments = {}) {
        m_notifierTray.emplace(m_bus->address());
        m_shell = startShell(arguments);
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 1, patienceMs);
    }

    void startTint2() {
        const QString path =
            writeFile(u"tint2rc"_qs, QString::fromLatin1(tint2Configuration).arg(u"#dddddd"));
        startTray(u"tint2"_qs, {u"-c"_qs, path});
    }

    void startXfcePanel() {
        writeFile(u"home/.config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml"_qs,
                  QString::fromLatin1(xfcePanelConfiguration));
        startTray(QStringLiteral(QUILLORA_XFCONFD));
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(u"org.xfce.Xfconf"_qs), patienceMs);
        startTray(u"xfce4-panel"_qs, {u"--disable-wm-check"_qs});
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(u"org.kde.StatusNotifierWatcher"_qs), patienceMs);
    }

    QString writeFile(const QString &name, const QString &text) const {
        const QString path = m_display->folder() + u'/' + name;
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(text.toUtf8());
        return path;
    }

    bool isOnBus(const QString &name) const {
        return m_bus->connection().interface()->isServiceRegistered(name);
    }

    QStringList registeredItems() const {
        auto question =
            QDBusMessage::createMethodCall(u"org.kde.StatusNotifierWatcher"_qs, u"/StatusNotifierWatcher"_qs,
                                           u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs);
        question << u"org.kde.StatusNotifierWatcher"_qs << u"RegisteredStatusNotifierItems"_qs;
        const auto answer = m_bus->connection().call(question).arguments();
        return answer.isEmpty() ? QStringList()
                                : answer.first().value<QDBusVariant>().variant().toStringList();
    }

    // What is on the screen.

    QByteArray output(const QString &program, const QStringList &arguments) const {
        const auto child = m_display->start(program, arguments);
        child->process().waitForFinished();
        return child->process().readAllStandardOutput();
    }

    /// The program's visible windows.
    QList<quint32> windows() const {
        QList<quint32> found;
        for (const QByteArray &line :
             output(u"xdotool"_qs, {u"search"_qs, u"--onlyvisible"_qs, u"--class"_qs, u"^Quillora$"_qs})
                 .split('\n')) {
            if (const quint32 window = line.toUInt())
                found += window;
        }
        return found;
    }

    QRect geometry(quint32 window) const {
        QRect rect;
        for (const QByteArray &line :
             output(u"xdotool"_qs, {u"getwindowgeometry"_qs, u"--shell"_qs, QString::number(window)})
                 .split('\n')) {
            const int value = line.mid(line.indexOf('=') + 1).toInt();
            if (line.startsWith("X="))
                rect.moveLeft(value);
            else if (line.startsWith("Y="))
                rect.moveTop(value);
            else if (line.startsWith("WIDTH="))
                rect.setWidth(value);
            else if (line.startsWith("HEIGHT="))
                rect.setHeight(value);
        }
        return rect;
    }

    QList<quint32> panelWindows() const {
        QList<quint32> found = windows();
        found.removeIf([this](quint32 window) { return geometry(window).width() < 300; });
        return found;
    }

    quint32 panelWindow() const { return panelWindows().value(0); }

    std::optional<QRect> panel() const {
        const quint32 window = panelWindow();
        return window ? std::optional(geometry(window)) : std::nullopt;
    }

    /// The icon's window in an X11 tray.
    std::optional<QRect> icon() const {
        for (const quint32 window : windows()) {
            const QRect rect = geometry(window);
            if (rect.width() >= 16 && rect.width() < 64 && rect.top() < 40)
                return rect;
        }
        return std::nullopt;
    }

    quint32 activeWindow() const { return output(u"xdotool"_qs, {u"getactivewindow"_qs}).trimmed().toUInt(); }

    QByteArray title() const {
        return output(u"xdotool"_qs, {u"getwindowname"_qs, QString::number(panelWindow())}).trimmed();
    }

    QByteArray property(const QString &name) const {
        return output(u"xprop"_qs, {u"-id"_qs, QString::number(panelWindow()), name});
    }

    bool clickAt(const QPoint &point, int button = leftButton) const {
        m_display->run(u"xdotool"_qs, {u"mousemove"_qs, QString::number(point.x()),
                                       QString::number(point.y()), u"click"_qs, QString::number(button)});
        return true;
    }

    /// From the main button, which has the focus at first, past what can be used, and round to the top.
    void pressRecordHotKeyButton() const {
        m_display->run(u"xdotool"_qs, {u"key"_qs, u"Tab"_qs, u"Tab"_qs, u"Tab"_qs, u"Tab"_qs, u"space"_qs});
    }

    void takeScreenshot(const QString &name) const {
        QDir().mkpath(QStringLiteral(QUILLORA_SCREENSHOTS));
        m_display->run(u"import"_qs, {u"-window"_qs, u"root"_qs,
                                      QStringLiteral(QUILLORA_SCREENSHOTS "/shell-") + name + u".png"_qs});
    }

    /// Whether it becomes true while a person would still be looking.
    static bool appearsWithin(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(condition, 1000);
    }

    bool endsWithinASecond() {
        QElapsedTimer timer;
        timer.start();
        return ChildProcess::waitUntil([this] { return !m_shell->isRunning(); }, 1000);
    }

    // The program's tray icon, as the tray sees it.

    QVariant picture() {
        const auto argument = m_notifierTray->itemProperty(u"IconPixmap"_qs).value<QDBusArgument>();
        QByteArray bytes;
        argument.beginArray();
        while (!argument.atEnd()) {
            int width = 0;
            int height = 0;
            QByteArray data;
            argument.beginStructure();
            argument >> width >> height >> data;
            argument.endStructure();
            bytes += data;
        }
        argument.endArray();
        return bytes;
    }

    void clickMenu(const QString &label) {
        for (int id = 1; id <= 6; ++id) {
            const auto answer = m_notifierTray->callMenu(u"GetProperty"_qs, {id, u"label"_qs});
            if (answer.value(0).value<QDBusVariant>().variant() == label) {
                m_notifierTray->callMenu(u"Event"_qs,
                                         {id, u"clicked"_qs, QVariant::fromValue(QDBusVariant(0)), 0u});
                return;
            }
        }
        QFAIL(qPrintable(u"the menu has no "_qs + label));
    }

    std::optional<test::VirtualDisplay> m_display;
    std::optional<test::PrivateSessionBus> m_bus;
    std::vector<std::unique_ptr<test::Daemon>> m_trays;
    std::optional<NotifierTray> m_notifierTray;
    std::unique_ptr<ChildProcess> m_shell;
};

QTEST_GUILESS_MAIN(ShellDesktopTest)

#include "ShellDesktopTest.moc"
