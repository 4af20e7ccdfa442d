#include "app/Popover.h"
#include "support/VirtualDisplay.h"
#include "ui/PanelHarness.h"
#include "ui/Picker.h"

#include <QAbstractItemView>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

constexpr int patienceMs = 15000;

}

/// A user's keyboard and mouse at the pickers of a popover, on a real display with a window manager.
class PickerDesktopTest : public QObject {
    Q_OBJECT

public:
    explicit PickerDesktopTest(const VirtualDisplay &display) : m_display(display) {}

private Q_SLOTS:
    void init() {
        m_harness.emplace();
        m_harness->controller->setTargetLanguageIdentifier(u"ru"_s);
        m_popover = std::make_unique<Popover>(std::move(m_harness->panel));
        QObject::connect(&panel(), &ContentView::closeRequested, m_popover.get(), &Popover::performClose);
        m_popover->showAttached({});
        QTRY_VERIFY_WITH_TIMEOUT(m_popover->isActiveWindow(), patienceMs);
        movePointerAway(); // an option under it would be passed over, too
        picker().setFocus();
        QTRY_VERIFY_WITH_TIMEOUT(picker().hasFocus(), patienceMs);
        m_harness->platform.log.clear();
    }
    void cleanup() {
        m_popover.reset();
        m_harness.reset();
    }

    void twentyPressesOfDownChooseNothing() {
        const int start = picker().currentIndex();
        press(QStringList(20, u"Down"_s)); // of which the first opens the list
        QTRY_VERIFY_WITH_TIMEOUT(list().isVisible(), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(list().currentIndex().row(), start + 19, patienceMs);
        QCOMPARE(m_harness->platform.log.calls(), QStringList());
        press({u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!list().isVisible(), patienceMs);
        QCOMPARE(m_harness->platform.log.calls(), QStringList());
        QCOMPARE(m_harness->controller->translationEngineIdentifier(), u"appleLocal"_s);
    }

    void thePanelStaysOpenWhileTheListIsAndAfterEscape() {
        press({u"space"_s});
        QTRY_VERIFY_WITH_TIMEOUT(list().isVisible(), patienceMs);
        m_harness->platform.queue.advance(std::chrono::seconds(1));
        QVERIFY(m_popover->isShown());
        press({u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!list().isVisible(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(m_popover->isActiveWindow(), patienceMs);
        m_harness->platform.queue.advance(std::chrono::seconds(1));
        QVERIFY(m_popover->isShown());
        QVERIFY(picker().hasFocus());
        press({u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!m_popover->isShown(), patienceMs);
    }

    void aTypedNameIsChosenByReturn() {
        QApplication::setKeyboardInputInterval(60000); // however slowly the machine types
        press({u"p"_s, u"o"_s, u"r"_s});
        QTRY_COMPARE_WITH_TIMEOUT(list().currentIndex().data(Qt::AccessibleTextRole).toString(),
                                  u"Portuguese"_s, patienceMs);
        QCOMPARE(m_harness->controller->targetLanguageIdentifier(), u"ru"_s);
        press({u"Return"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_harness->controller->targetLanguageIdentifier(), u"pt"_s, patienceMs);
        QVERIFY(m_popover->isShown());
    }

    void theSpaceThatChoosesPressesNothingElse() {
        press({u"Down"_s, u"Home"_s, u"space"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_harness->controller->targetLanguageIdentifier(),
                                  m_harness->controller->targetLanguageOptions().first().id, patienceMs);
        QVERIFY(!list().isVisible());
        QVERIFY(picker().hasFocus());
    }

    void theWheelOverAClosedPickerChangesNothing() {
        const QPoint place = picker().mapToGlobal(picker().rect().center());
        m_display.run(u"xdotool"_s, {u"mousemove"_s, QString::number(place.x()), QString::number(place.y())});
        m_display.run(u"xdotool"_s, {u"click"_s, u"--repeat"_s, u"5"_s, u"5"_s});
        press({u"Down"_s}); // comes behind the wheel
        QTRY_VERIFY_WITH_TIMEOUT(list().isVisible(), patienceMs);
        QCOMPARE(list().currentIndex().row(), picker().currentIndex());
        QCOMPARE(m_harness->platform.log.calls(), QStringList());
        press({u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!list().isVisible(), patienceMs);
    }

    void aClickChooses() {
        click(picker(), picker().rect().center());
        QTRY_VERIFY_WITH_TIMEOUT(list().isVisible(), patienceMs);
        list().verticalScrollBar()->setValue(0);
        const auto second = list().model()->index(1, 0);
        // The click that opens a list does not choose in it. The toolkit takes one for another that comes
        // soon after, unless the pointer has moved, as it does here.
        click(*list().viewport(), list().visualRect(second).center());
        QTRY_COMPARE_WITH_TIMEOUT(m_harness->controller->targetLanguageIdentifier(),
                                  m_harness->controller->targetLanguageOptions().at(1).id, patienceMs);
        QVERIFY(m_popover->isShown());
    }

private:
    ContentView &panel() const { return *m_popover->findChild<ContentView *>(); }
    Picker &picker() const { return *m_popover->findChild<Picker *>(u"targetPicker"_s); }
    QAbstractItemView &list() const { return *picker().view(); }

    void movePointerAway() const {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        const QPoint far = m_popover->geometry().center().x() < screen.center().x() ? screen.bottomRight()
                                                                                    : screen.bottomLeft();
        m_display.run(u"xdotool"_s, {u"mousemove"_s, QString::number(far.x()), QString::number(far.y())});
    }

    void press(const QStringList &keys) const { m_display.run(u"xdotool"_s, QStringList{u"key"_s} + keys); }

    void click(const QWidget &widget, const QPoint &at) const {
        const QPoint place = widget.mapToGlobal(at);
        m_display.run(u"xdotool"_s, {u"mousemove"_s, QString::number(place.x()), QString::number(place.y()),
                                     u"click"_s, u"1"_s});
    }

    const VirtualDisplay &m_display;
    std::optional<PanelHarness> m_harness;
    std::unique_ptr<Popover> m_popover;
};

int main(int argc, char **argv) {
    std::optional<VirtualDisplay> display;
    {
        QCoreApplication starting(argc, argv);
        display.emplace(VirtualDisplay::WindowManager::openbox);
    }
    qputenv("DISPLAY", display->name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    PickerDesktopTest test(*display);
    return QTest::qExec(&test, argc, argv);
}
#include "PickerDesktopTest.moc"
