#include "app/ShellDesktop.h"
#include "support/StubbornWindowManager.h"
#include "support/TestWindow.h"

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

const QRect screen(0, 0, 1280, 800);

// Two monitors side by side on that screen, the right one at half as much again.
const QRect rightMonitor(640, 0, 640, 800);
const QString twoScales = u"QT_SCREEN_SCALE_FACTORS=left=1;right=1.5"_s;
constexpr double rightScale = 1.5;

} // namespace

/// Where on real screens the panel goes, and that it goes away, whatever the window manager does.
class PanelDesktopTest : public test::ShellDesktop {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() {
        m_work.reset();
        m_stubborn.reset();
        end();
    }

    // A panel that is refused the focus.

    void aNoticeWithoutTheFocusStaysUntilTheUserTurnsToIt() {
        showNoticeWithoutFocus();
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
    }

    void aNoticeWithoutTheFocusClosesAtAClickElsewhere() {
        showNoticeWithoutFocus();
        clickAt(elsewhere);
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void aNoticeWithoutTheFocusClosesWhenAnotherWindowIsActivated() {
        showNoticeWithoutFocus();
        test::TestWindow other(m_display->name(), {});
        other.show();
        m_stubborn->activate(other.id());
        QTRY_VERIFY_WITH_TIMEOUT(!panel(), patienceMs);
    }

    void aNoticeWithoutTheFocusStaysWhileItIsUsed() {
        showNoticeWithoutFocus();
        clickAt(panel()->center());
        clickAt(panel()->topLeft() + QPoint(250, 20), rightButton);
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
    }

    void aNoticeWithoutTheFocusStaysWhenSomethingElseIsScrolled() {
        showNoticeWithoutFocus();
        clickAt(elsewhere, wheelDown);
        QVERIFY(!appearsWithin([this] { return !panel().has_value(); }));
    }

    // Small screens.

    void onASmallScreenThePanelScrolls_data() {
        QTest::addColumn<QString>("scale");
        QTest::newRow("615 lines") << u"1.3"_s;
        QTest::newRow("533 lines") << u"1.5"_s;
        QTest::newRow("400 lines") << u"2"_s;
    }
    void onASmallScreenThePanelScrolls() {
        QFETCH(QString, scale);
        begin(test::VirtualDisplay::WindowManager::openbox);
        startWithTint2(u"panel_position = top right horizontal"_s, {u"QT_SCALE_FACTOR="_s + scale});
        clickAt(icon()->center());
        const int below = icon()->bottom();
        thePanelComes([below](const QRect &found) {
            return screen.adjusted(-2, -2, 2, 2).contains(found) && found.top() > below;
        });
        if (QTest::currentTestFailed())
            return;
        m_display->run(u"xdotool"_s, {u"mousemove"_s, QString::number(panel()->left() + 20),
                                      QString::number(panel()->center().y()), u"click"_s, u"--repeat"_s,
                                      u"20"_s, QString::number(wheelDown)});
        takeScreenshot(u"panel-scrolled-"_s + scale);
    }

    void onASmallScreenTheWindowScrollsToo() {
        begin(test::VirtualDisplay::WindowManager::openbox);
        m_shell = startShell({}, {u"QT_SCALE_FACTOR=1.5"_s});
        thePanelComes([](const QRect &found) { return found.height() < screen.height() - 20; });
        takeScreenshot(u"window-scrolled"_s);
    }

    // Two monitors of different scale.

    void onTheOtherMonitorThePanelOpensBesideTheIcon_data() {
        QTest::addColumn<QPoint>("place"); // in device pixels, as the tray tells it
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<Qt::Edge>("edge");
        const QPoint away(100, 400);
        QTest::newRow("at the top") << QPoint(960, 10) << away << Qt::TopEdge;
        QTest::newRow("at the bottom") << QPoint(960, 790) << away << Qt::BottomEdge;
        QTest::newRow("at the left") << QPoint(650, 400) << away << Qt::LeftEdge;
        QTest::newRow("at the right") << QPoint(1270, 400) << away << Qt::RightEdge;
        QTest::newRow("at the bottom, by a tray that thinks in larger pixels")
            << QPoint(853, 527) << QPoint(960, 790) << Qt::BottomEdge;
    }
    void onTheOtherMonitorThePanelOpensBesideTheIcon() {
        QFETCH(QPoint, place);
        QFETCH(QPoint, pointer);
        QFETCH(Qt::Edge, edge);
        beginWithTwoMonitors();
        startWithNotifierTray({}, {twoScales});
        m_display->run(u"xdotool"_s,
                       {u"mousemove"_s, QString::number(pointer.x()), QString::number(pointer.y())});
        m_notifierTray->callItem(u"Activate"_s, {place.x(), place.y()});
        const auto isBeside = [edge](const QRect &found) {
            return edge == Qt::TopEdge      ? isNear(found.top(), 10)
                   : edge == Qt::BottomEdge ? isNear(found.bottom(), 790)
                   : edge == Qt::LeftEdge   ? isNear(found.left(), 650)
                                            : isNear(found.right(), 1270);
        };
        thePanelComes([&](const QRect &found) {
            return isNear(found.width(), qRound(382 * rightScale)) && isOnTheRight(found) && isBeside(found);
        });
    }

    void anX11TrayOnTheOtherMonitorHasThePanelBesideItToo_data() {
        QTest::addColumn<QString>("place");
        QTest::newRow("top") << u"panel_position = top right horizontal"_s;
        QTest::newRow("bottom") << u"panel_position = bottom right horizontal"_s;
        QTest::newRow("left") << u"panel_position = center left vertical"_s;
        QTest::newRow("right") << u"panel_position = center right vertical"_s;
    }
    void anX11TrayOnTheOtherMonitorHasThePanelBesideItToo() {
        QFETCH(QString, place);
        beginWithTwoMonitors();
        startWithTint2(place + u"\npanel_monitor = 2"_s, {twoScales});
        const QRect iconThere = *icon();
        QVERIFY2(rightMonitor.contains(iconThere), qPrintable(described(iconThere)));
        clickAt(iconThere.center());
        thePanelComes([&](const QRect &found) {
            return isOnTheRight(found) && !found.adjusted(2, 2, -2, -2).intersects(iconThere);
        });
    }

    void withoutAPlaceThePanelOpensOnThePointersMonitor() {
        beginWithTwoMonitors();
        startWithNotifierTray({}, {twoScales});
        m_display->run(u"xdotool"_s, {u"mousemove"_s, u"1200"_s, u"700"_s});
        m_notifierTray->callItem(u"Activate"_s, {0, 0});
        thePanelComes([](const QRect &found) {
            return isNear(found.right(), rightMonitor.right()) &&
                   isNear(found.bottom(), rightMonitor.bottom());
        });
    }

private:
    static constexpr int wheelDown = 5;

    /// Where a logical pixel is more than one of the screen's, places are exact to one of them.
    static bool isNear(int a, int b) { return std::abs(a - b) <= 2; }

    static bool isOnTheRight(const QRect &found) {
        return rightMonitor.adjusted(-2, -2, 2, 2).contains(found);
    }

    static QString described(const std::optional<QRect> &rect) {
        return rect ? u"%1,%2 %3x%4"_s.arg(rect->left())
                          .arg(rect->top())
                          .arg(rect->width())
                          .arg(rect->height())
                    : u"no panel"_s;
    }

    /// Waits until it stands there: it may be seen before it has its size and its place.
    void thePanelComes(const std::function<bool(const QRect &)> &isThere) {
        std::optional<QRect> found;
        const auto comes = [&] {
            found = panel();
            return found && isThere(*found);
        };
        QTRY_VERIFY2_WITH_TIMEOUT(comes(), qPrintable(described(found)), patienceMs);
    }

    void beginWithTwoMonitors() {
        begin(test::VirtualDisplay::WindowManager::openbox);
        m_display->run(u"xrandr"_s, {u"--setmonitor"_s, u"left"_s, u"640/170x800/210+0+0"_s, u"screen"_s});
        m_display->run(u"xrandr"_s, {u"--setmonitor"_s, u"right"_s, u"640/170x800/210+640+0"_s, u"none"_s});
    }

    void showNoticeWithoutFocus() {
        begin(test::VirtualDisplay::WindowManager::none);
        m_stubborn.emplace(m_display->name());
        m_work.emplace(m_display->name(), test::TestWindow::Properties{});
        m_work->show();
        m_stubborn->activate(m_work->id());
        startWithNotifierTray({u"--no-microphone"_s});
        m_display->run(u"xdotool"_s, {u"mousemove"_s, u"100"_s, u"100"_s});
        clickMenu(u"Start dictation"_s);
        QTRY_VERIFY_WITH_TIMEOUT(panel(), patienceMs);
        QVERIFY(m_work->hasFocus());
    }

    static constexpr QPoint elsewhere{1000, 500};

    std::optional<test::StubbornWindowManager> m_stubborn;
    std::optional<test::TestWindow> m_work; ///< what the user is busy with
};

QTEST_GUILESS_MAIN(PanelDesktopTest)

#include "PanelDesktopTest.moc"
