#pragma once

#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"
#include "support/VirtualDisplay.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRect>
#include <QTest>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

inline const auto colorOfTint2 = u"#dddddd"_s;

inline const auto tint2Configuration = R"(rounded = 0
border_width = 0
background_color = %1 100
panel_items = S
%2
panel_size = 200 28
panel_background_id = 1
systray_icon_size = 22
wm_menu = 0
)";

inline const auto xfcePanelConfiguration = R"(<?xml version="1.0" encoding="UTF-8"?>
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

/// The shell on fakes, on a desktop of its own: what can be done to it, and what there is to be seen.
class ShellDesktop : public QObject {
protected:
    static constexpr int patienceMs = 15000;
    static constexpr int leftButton = 1;
    static constexpr int rightButton = 3;

    static QString shellProgram() { return QStringLiteral(QUILLORA_SHELL_ON_FAKES); }

    /// What `env` is told to start a program that knows the bus. `settings` are for the environment:
    /// NAME=value.
    QStringList onBus(const QString &program, const QStringList &settings = {}) const {
        return QStringList{u"DBUS_SESSION_BUS_ADDRESS="_s + m_bus->address(), u"GSETTINGS_BACKEND=memory"_s} +
               settings + QStringList{program};
    }

    std::unique_ptr<ChildProcess> startShell(const QStringList &arguments = {},
                                             const QStringList &settings = {}) {
        return m_display->start(u"env"_s, onBus(shellProgram(), settings) + arguments);
    }

    void startTray(const QString &program, const QStringList &arguments = {}) {
        m_trays.push_back(m_display->startDaemon(u"env"_s, onBus(program) + arguments));
    }

    /// The last one that was started may need those before it.
    void endTrays() {
        while (!m_trays.empty())
            m_trays.pop_back();
    }

    void startWithNotifierTray(const QStringList &arguments = {}, const QStringList &settings = {}) {
        m_notifierTray.emplace(m_bus->address());
        m_shell = startShell(arguments + QStringList{u"--tray"_s}, settings);
        QTRY_COMPARE_WITH_TIMEOUT(m_notifierTray->items().size(), 1, patienceMs);
        // It must know that it is shown before it is clicked, or it opens a window. What it was told by now
        // it reads before it answers this.
        QTRY_VERIFY_WITH_TIMEOUT(m_notifierTray->wasAskedForHost(), patienceMs);
        m_notifierTray->itemProperty(u"Title"_s);
    }

    /// `place` is what its configuration says about that.
    void startTint2(const QString &place = u"panel_position = top right horizontal"_s) {
        const QString path =
            writeFile(u"tint2rc"_s, QString::fromLatin1(tint2Configuration).arg(colorOfTint2, place));
        startTray(u"tint2"_s, {u"-c"_s, path});
    }

    void startWithTint2(const QString &place = u"panel_position = top right horizontal"_s,
                        const QStringList &settings = {}, const QStringList &arguments = {}) {
        startTint2(place);
        m_shell = startShell(arguments + QStringList{u"--tray"_s}, settings);
        QTRY_VERIFY_WITH_TIMEOUT(icon(), patienceMs);
    }

    void startXfcePanel() {
        writeFile(u"home/.config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml"_s,
                  QString::fromLatin1(xfcePanelConfiguration));
        startTray(QStringLiteral(QUILLORA_XFCONFD));
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(u"org.xfce.Xfconf"_s), patienceMs);
        startTray(u"xfce4-panel"_s, {u"--disable-wm-check"_s});
        QTRY_VERIFY_WITH_TIMEOUT(isOnBus(u"org.kde.StatusNotifierWatcher"_s), patienceMs);
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
            QDBusMessage::createMethodCall(u"org.kde.StatusNotifierWatcher"_s, u"/StatusNotifierWatcher"_s,
                                           u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        question << u"org.kde.StatusNotifierWatcher"_s << u"RegisteredStatusNotifierItems"_s;
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
             output(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"^Quillora$"_s})
                 .split('\n')) {
            if (const quint32 window = line.toUInt())
                found += window;
        }
        return found;
    }

    QRect geometry(quint32 window) const {
        QRect rect;
        for (const QByteArray &line :
             output(u"xdotool"_s, {u"getwindowgeometry"_s, u"--shell"_s, QString::number(window)})
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
            if (rect.width() >= 16 && rect.width() < 64)
                return rect;
        }
        return std::nullopt;
    }

    quint32 activeWindow() const { return output(u"xdotool"_s, {u"getactivewindow"_s}).trimmed().toUInt(); }

    /// Whether the panel is one of the minimised windows, from where a task bar brings it back.
    bool isPanelMinimised() const {
        for (const QByteArray &line :
             output(u"xdotool"_s, {u"search"_s, u"--class"_s, u"^Quillora$"_s}).split('\n')) {
            if (output(u"xprop"_s, {u"-id"_s, QString::fromLatin1(line), u"WM_STATE"_s}).contains("Iconic"))
                return true;
        }
        return false;
    }

    QByteArray title() const {
        return output(u"xdotool"_s, {u"getwindowname"_s, QString::number(panelWindow())}).trimmed();
    }

    QByteArray property(const QString &name) const {
        return output(u"xprop"_s, {u"-id"_s, QString::number(panelWindow()), name});
    }

    void clickAt(const QPoint &point, int button = leftButton, int times = 1) const {
        m_display->run(u"xdotool"_s,
                       {u"mousemove"_s, QString::number(point.x()), QString::number(point.y()), u"click"_s,
                        u"--repeat"_s, QString::number(times), QString::number(button)});
    }

    void press(const QString &key) const { m_display->run(u"xdotool"_s, {u"key"_s, key}); }

    /// From the main button, which has the focus at first, past what can be used, and round to the top.
    void pressRecordHotKeyButton() const {
        m_display->run(u"xdotool"_s, {u"key"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"space"_s});
    }

    /// Its path.
    QString takeScreenshot(const QString &name) const {
        QDir().mkpath(QStringLiteral(QUILLORA_SCREENSHOTS));
        const QString path = QStringLiteral(QUILLORA_SCREENSHOTS "/shell-") + name + u".png"_s;
        m_display->run(u"import"_s, {u"-window"_s, u"root"_s, path});
        return path;
    }

    /// Whether it becomes true while a person would still be looking: for what must not happen. The program
    /// that is tried has a clock of its own, on which a panel may close long after what made it close, so
    /// that nothing that it could be asked would say that it stays.
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
        const auto argument = m_notifierTray->itemProperty(u"IconPixmap"_s).value<QDBusArgument>();
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
        for (int id = 1; id <= 20; ++id) {
            const auto answer = m_notifierTray->callMenu(u"GetProperty"_s, {id, u"label"_s});
            if (answer.value(0).value<QDBusVariant>().variant() == label) {
                m_notifierTray->callMenu(u"Event"_s,
                                         {id, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0u});
                return;
            }
        }
        QFAIL(qPrintable(u"the menu has no "_s + label));
    }

    void begin(VirtualDisplay::WindowManager windowManager) {
        m_display.emplace(windowManager);
        m_bus.emplace();
    }
    void end() {
        m_shell.reset();
        m_notifierTray.reset();
        endTrays();
        m_bus.reset();
        m_display.reset();
    }

    std::optional<VirtualDisplay> m_display;
    std::optional<PrivateSessionBus> m_bus;
    std::vector<std::unique_ptr<Daemon>> m_trays;
    std::optional<NotifierTray> m_notifierTray;
    std::unique_ptr<ChildProcess> m_shell;
};

} // namespace quillora::test
