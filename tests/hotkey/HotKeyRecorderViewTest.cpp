#include "hotkey/HotKeyRecorderView.h"
#include "fakes/FakePlatform.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QShortcut>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

/// A window whose recorder writes down what it was told.
class Window : public QWidget {
public:
    Window() {
        recorder.setGeometry(0, 0, 1, 1);
        field.move(10, 10);
        show();
        QApplication::setActiveWindow(this);
    }

    HotKeyRecorderView::Description describe(bool isRecording) {
        return {isRecording,
                [this](const AppHotKey &hotKey) { outcomes += u"capture "_s + hotKey.storageValue(); },
                [this] { outcomes += u"cancel"_s; }, [this] { outcomes += u"invalid"_s; }};
    }
    void record() {
        recorder.setDescription(describe(true));
        platform.run();
    }

    FakePlatform platform;
    QStringList outcomes;
    QStringList passedOn; ///< what reached the window instead
    HotKeyRecorderView recorder{describe(true), this};
    QLineEdit field{this};

protected:
    void keyPressEvent(QKeyEvent *event) override { passedOn += QString::number(event->key()); }
};

/// Something that happens to the K key at a moment, in milliseconds.
void sendK(QEvent::Type type, quint64 time) {
    QKeyEvent event(type, Qt::Key_K, Qt::NoModifier, FakeKeyPositions::scanCode(40), 0, 0);
    event.setTimestamp(time);
    QApplication::sendEvent(QApplication::focusWidget(), &event);
}

/// A key that a layout may make into any modifier.
constexpr quint32 menuKeyCode = 110;

enum class Repeat { no, yes };

/// Sends a key press to whatever has the focus, as a real keyboard does. Whether it was accepted.
bool press(Qt::Key key, quint32 keyCode, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
           Repeat repeat = Repeat::no) {
    QKeyEvent event(QEvent::KeyPress, key, modifiers, FakeKeyPositions::scanCode(keyCode), 0, 0, {},
                    repeat == Repeat::yes);
    QApplication::sendEvent(QApplication::focusWidget(), &event);
    return event.isAccepted();
}

} // namespace

class HotKeyRecorderViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aKeyPressHasOneOutcome_data() {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<quint32>("keyCode");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char *name, Qt::Key key, quint32 keyCode, Qt::KeyboardModifiers modifiers,
                            const char *outcome) {
            QTest::newRow(name) << key << keyCode << modifiers << QString::fromLatin1(outcome);
        };
        const Qt::KeyboardModifiers none = Qt::NoModifier;
        row("Escape alone cancels", Qt::Key_Escape, 53, none, "cancel");
        row("Control+Escape is captured", Qt::Key_Escape, 53, Qt::ControlModifier, "capture 53:4096");
        row("Shift+Escape is invalid", Qt::Key_Escape, 53, Qt::ShiftModifier, "invalid");
        row("Alt+Escape is captured", Qt::Key_Escape, 53, Qt::AltModifier, "capture 53:2048");
        row("a letter alone is invalid", Qt::Key_K, 40, none, "invalid");
        row("a letter with Shift only is invalid", Qt::Key_K, 40, Qt::ShiftModifier, "invalid");
        row("Command+Shift+K is captured", Qt::Key_K, 40, Qt::MetaModifier | Qt::ShiftModifier,
            "capture 40:768");
        row("Control+Option+Command+Shift+F5 is captured", Qt::Key_F5, 96,
            Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier, "capture 96:6912");
        row("the keypad does not enter the mask", Qt::Key_5, 87, Qt::ControlModifier | Qt::KeypadModifier,
            "capture 87:4096");
        row("a keyboard group does not enter the mask", Qt::Key_A, 0,
            Qt::ControlModifier | Qt::GroupSwitchModifier, "capture 0:4096");
        row("Tab is captured", Qt::Key_Tab, 48, Qt::ControlModifier, "capture 48:4096");
        row("Shift+Tab is no way out", Qt::Key_Backtab, 48, Qt::ShiftModifier, "invalid");
        row("Tab alone is no way out", Qt::Key_Tab, 48, none, "invalid");
        row("Return is captured", Qt::Key_Return, 36, Qt::MetaModifier, "capture 36:256");
        row("the space bar is captured", Qt::Key_Space, 49, Qt::ControlModifier | Qt::AltModifier,
            "capture 49:6144");
        row("the position counts, not the layout", Qt::Key_Q, 0, Qt::ControlModifier, "capture 0:4096");
        row("Escape is a position too", Qt::Key_A, 53, none, "cancel");
    }

    void aKeyPressHasOneOutcome() {
        QFETCH(Qt::Key, key);
        QFETCH(quint32, keyCode);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        Window window;
        window.record();
        const bool isConsumed = press(key, keyCode, modifiers);
        QTEST(window.outcomes.join(u','), "outcome");
        QVERIFY(isConsumed);
        QCOMPARE(window.passedOn, QStringList());
        QVERIFY(window.recorder.hasFocus());
    }

    void capsLockNeverEntersTheMask() {
        Window window;
        window.record();
        constexpr quint32 lockMask = 2; // as the X server reports a press with Caps Lock on
        QKeyEvent event(QEvent::KeyPress, Qt::Key_A, Qt::ControlModifier, FakeKeyPositions::scanCode(0), 0,
                        lockMask);
        QApplication::sendEvent(QApplication::focusWidget(), &event);
        QCOMPARE(window.outcomes, QStringList{u"capture 0:4096"_s});
    }

    void keysPassThroughUnchangedWhileNotRecording() {
        Window window;
        window.recorder.setDescription(window.describe(false));
        window.recorder.setFocus();
        press(Qt::Key_K, 40, Qt::ControlModifier);
        press(Qt::Key_Escape, 53);
        QCOMPARE(window.outcomes, QStringList());
        QCOMPARE(window.passedOn, (QStringList{QString::number(Qt::Key_K), QString::number(Qt::Key_Escape)}));
    }

    void recordingBeginsWithTheFirstUpdateOnly() {
        Window window; // whose recorder was made with a description that records
        window.recorder.setFocus();
        press(Qt::Key_K, 40, Qt::ControlModifier);
        QCOMPARE(window.outcomes, QStringList());
    }

    void recordingTakesTheFocusInALaterTurn() {
        Window window;
        window.field.setFocus();
        window.recorder.setDescription(window.describe(true));
        QVERIFY(window.field.hasFocus());
        window.platform.run();
        QVERIFY(window.recorder.hasFocus());
    }

    void theEndOfRecordingLeavesTheFocusWhereItIs() {
        Window window;
        window.record();
        window.recorder.setDescription(window.describe(false));
        window.platform.run();
        QVERIFY(window.recorder.hasFocus());
    }

    void theEndOfRecordingSchedulesNothing() {
        Window window;
        window.recorder.setDescription(window.describe(false));
        QVERIFY(window.platform.queue.isIdle());
    }

    void aFocusRequestWithoutAWindowIsDropped() {
        FakePlatform platform;
        HotKeyRecorderView recorder({});
        recorder.setDescription({true, {}, {}, {}});
        platform.run();
        QVERIFY(!recorder.hasFocus());
        QVERIFY(!recorder.focusWidget());
    }

    void aFocusRequestOutlivesItsView() {
        FakePlatform platform;
        auto window = std::make_unique<QWidget>();
        auto *recorder = new HotKeyRecorderView({}, window.get());
        recorder->setDescription({true, {}, {}, {}});
        window.reset();
        platform.run();
        QVERIFY(platform.queue.isIdle());
    }

    void absentCallbacksAreNotCalledAndTheKeyIsConsumed() {
        Window window;
        window.recorder.setDescription({true, {}, {}, {}});
        window.platform.run();
        QVERIFY(press(Qt::Key_Escape, 53));
        QVERIFY(press(Qt::Key_K, 40));
        QVERIFY(press(Qt::Key_K, 40, Qt::ControlModifier));
        QCOMPARE(window.outcomes, QStringList());
        QCOMPARE(window.passedOn, QStringList());
    }

    void anUpdateReplacesTheCallbacks() {
        Window window;
        window.record();
        QStringList later;
        window.recorder.setDescription({true, {}, [&later] { later += u"cancel"_s; }, {}});
        press(Qt::Key_Escape, 53);
        QCOMPARE(window.outcomes, QStringList());
        QCOMPARE(later, QStringList{u"cancel"_s});
    }

    void aCallbackMayEndTheRecording() {
        Window window;
        HotKeyRecorderView::Description description = window.describe(true);
        description.onCapture = [&window](const AppHotKey &hotKey) {
            window.recorder.setDescription(window.describe(false));
            window.outcomes += hotKey.storageValue();
        };
        window.recorder.setDescription(description);
        window.platform.run();
        press(Qt::Key_K, 40, Qt::ControlModifier);
        press(Qt::Key_K, 40, Qt::ControlModifier);
        QCOMPARE(window.outcomes, QStringList{u"40:4096"_s});
    }

    void theViewDoesNotStopRecordingByItself() {
        Window window;
        window.record();
        press(Qt::Key_K, 40);
        press(Qt::Key_K, 40, Qt::ControlModifier);
        QCOMPARE(window.outcomes, (QStringList{u"invalid"_s, u"capture 40:4096"_s}));
    }

    void modifiersOnTheirWayToACombinationAreNoKeyPress_data() {
        QTest::addColumn<Qt::Key>("key");
        for (const auto key : {Qt::Key_Control, Qt::Key_Shift, Qt::Key_Alt, Qt::Key_Meta, Qt::Key_Super_L,
                               Qt::Key_Super_R, Qt::Key_AltGr, Qt::Key_CapsLock, Qt::Key_NumLock})
            QTest::addRow("%x", key) << key;
    }

    void modifiersOnTheirWayToACombinationAreNoKeyPress() {
        QFETCH(Qt::Key, key);
        Window window;
        window.record();
        press(key, menuKeyCode, Qt::ControlModifier);
        QCOMPARE(window.outcomes, QStringList());
        QCOMPARE(window.passedOn, QStringList());
    }

    void theKeyOfAModifierIsNoKeyPressWhateverTheLayoutMakesOfIt_data() {
        QTest::addColumn<quint32>("keyCode");
        QTest::addColumn<Qt::Key>("key");
        const std::pair<const char *, quint32> positions[] = {
            {"right Command", 54}, {"Command", 55},      {"Shift", 56},
            {"Caps Lock", 57},     {"Option", 58},       {"Control", 59},
            {"right Shift", 60},   {"right Option", 61}, {"right Control", 62}};
        for (const auto &[name, keyCode] : positions) {
            QTest::addRow("%s switches layouts", name) << keyCode << Qt::Key_unknown;
            QTest::addRow("%s types a letter", name) << keyCode << Qt::Key_A;
        }
    }

    void theKeyOfAModifierIsNoKeyPressWhateverTheLayoutMakesOfIt() {
        QFETCH(quint32, keyCode);
        QFETCH(Qt::Key, key);
        Window window;
        window.record();
        press(key, keyCode, Qt::AltModifier);
        press(key, keyCode);
        QCOMPARE(window.outcomes, QStringList());
        QCOMPARE(window.passedOn, QStringList());
    }

    void onlyTheFirstPressOfAHeldKeyCounts() {
        Window window;
        window.record();
        press(Qt::Key_K, 40);
        press(Qt::Key_K, 40, Qt::NoModifier, Repeat::yes);
        QCOMPARE(window.outcomes, QStringList{u"invalid"_s});
    }

    void aRepeatThatTheToolkitDidNotRecogniseCountsOnce() {
        Window window;
        window.record();
        sendK(QEvent::KeyPress, 1000);
        sendK(QEvent::KeyRelease, 1660);
        sendK(QEvent::KeyPress, 1660);
        QCOMPARE(window.outcomes, QStringList{u"invalid"_s});
    }

    void aKeyPressedTwiceCountsTwice() {
        Window window;
        window.record();
        sendK(QEvent::KeyPress, 1000);
        sendK(QEvent::KeyRelease, 1080);
        sendK(QEvent::KeyPress, 1090);
        QCOMPARE(window.outcomes, (QStringList{u"invalid"_s, u"invalid"_s}));
    }

    void aKeyOutsideTheNumberingIsInvalid() {
        Window window;
        window.record();
        QKeyEvent event(QEvent::KeyPress, Qt::Key_VolumeUp, Qt::ControlModifier, 1, 0, 0);
        QApplication::sendEvent(QApplication::focusWidget(), &event);
        QCOMPARE(window.outcomes, QStringList{u"invalid"_s});
    }

    void theWindowsShortcutsDoNotTakeTheKey() {
        Window window;
        QStringList taken;
        QShortcut shortcut(QKeySequence(Qt::CTRL | Qt::Key_K), &window);
        connect(&shortcut, &QShortcut::activated, &window, [&taken] { taken += u"shortcut"_s; });
        window.record();
        QKeyEvent override(QEvent::ShortcutOverride, Qt::Key_K, Qt::ControlModifier,
                           FakeKeyPositions::scanCode(40), 0, 0);
        override.ignore();
        QApplication::sendEvent(&window.recorder, &override);
        QVERIFY(override.isAccepted());
        QTest::keyClick(&window.recorder, Qt::Key_K, Qt::ControlModifier); // through the shortcut map
        QCOMPARE(taken, QStringList());
    }
};

QTEST_MAIN(HotKeyRecorderViewTest)
#include "HotKeyRecorderViewTest.moc"
