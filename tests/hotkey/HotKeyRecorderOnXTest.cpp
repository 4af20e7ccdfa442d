#include "fakes/FakePlatform.h"
#include "hotkey/HotKeyRecorderView.h"
#include "platform/linux/x11/X11KeyPositions.h"
#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

class PlatformWithRealKeys : public FakePlatform {
public:
    platform::KeyPositions &keyPositions() override { return m_realPositions; }

private:
    platform::X11KeyPositions m_realPositions;
};

// Keycodes of the server.
constexpr xcb_keycode_t escape = 9;
constexpr xcb_keycode_t tab = 23;
constexpr xcb_keycode_t letterA = 38;
constexpr xcb_keycode_t letterK = 45;
constexpr xcb_keycode_t f5 = 71;
constexpr xcb_keycode_t mute = 121;
constexpr xcb_keycode_t volumeDown = 122;
constexpr xcb_keycode_t volumeUp = 123;
constexpr xcb_keycode_t play = 172;
constexpr xcb_keycode_t microphoneMute = 198;

/// How often the server has repeated a held key.
class Repeats : public QObject {
public:
    bool eventFilter(QObject *, QEvent *event) override {
        count += event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->isAutoRepeat();
        return false;
    }
    int count = 0;
};

} // namespace

/// The recorder under real key events of a real X server.
class HotKeyRecorderOnXTest : public QObject {
    Q_OBJECT

public:
    explicit HotKeyRecorderOnXTest(const VirtualDisplay &display) : m_display(display) {}

private Q_SLOTS:
    void init() {
        m_platform.emplace();
        m_window.emplace();
        m_field = new QLineEdit(&*m_window);
        m_recorder = new HotKeyRecorderView({}, &*m_window);
        m_recorder->setGeometry(0, 0, 1, 1);
        m_outcomes.clear();
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&*m_window));
        record();
        m_keyboard.emplace(m_display.name());
    }

    void cleanup() {
        m_keyboard.reset();
        m_window.reset();
        m_platform.reset();
    }

    void aKeyPressHasOneOutcome_data() {
        using Keys = std::vector<xcb_keycode_t>;
        QTest::addColumn<Keys>("held");
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char *name, const Keys &held, xcb_keycode_t key, const QString &outcome) {
            QTest::newRow(name) << held << int(key) << outcome;
        };
        constexpr auto control = TestKeyboard::control;
        constexpr auto shift = TestKeyboard::shift;
        constexpr auto alt = TestKeyboard::alt;
        constexpr auto super = TestKeyboard::super;
        row("Escape alone cancels", {}, escape, u"cancel"_s);
        row("Control+Escape is captured", {control}, escape, u"capture 53:4096"_s);
        row("Shift+Escape is invalid", {shift}, escape, u"invalid"_s);
        row("a letter alone is invalid", {}, letterK, u"invalid"_s);
        row("a letter with Shift only is invalid", {shift}, letterK, u"invalid"_s);
        row("Command+Shift+K is captured", {super, shift}, letterK, u"capture 40:768"_s);
        row("Control+Option+Command+Shift+F5 is captured", {control, alt, super, shift}, f5,
            u"capture 96:6912"_s);
        row("Control+Tab is captured", {control}, tab, u"capture 48:4096"_s);
        row("Shift+Tab is no way out", {shift}, tab, u"invalid"_s);
        row("Super+K is captured", {super}, letterK, u"capture 40:256"_s);
        row("Control and the louder key are invalid", {control}, volumeUp, u"invalid"_s);
        row("Control and the softer key are invalid", {control}, volumeDown, u"invalid"_s);
        row("Control and the mute key are invalid", {control}, mute, u"invalid"_s);
        row("Super and the play key are invalid", {super}, play, u"invalid"_s);
        row("the microphone's mute key is invalid", {}, microphoneMute, u"invalid"_s);
    }

    void aKeyPressHasOneOutcome() {
        QFETCH(std::vector<xcb_keycode_t>, held);
        QFETCH(int, key);
        QFETCH(QString, outcome);
        m_keyboard->tapWith(held, static_cast<xcb_keycode_t>(key));
        QTRY_COMPARE(m_outcomes, QStringList{outcome});
        QVERIFY(m_recorder->hasFocus());
    }

    void capsLockNeverEntersTheMask() {
        m_keyboard->tap(TestKeyboard::capsLock);
        m_keyboard->tapWith({TestKeyboard::control}, letterA);
        QTRY_COMPARE(m_outcomes, QStringList{u"capture 0:4096"_s});
        m_keyboard->tap(TestKeyboard::capsLock);
    }

    void aHeldKeyCountsOnce() {
        Repeats repeats;
        m_recorder->installEventFilter(&repeats);
        m_keyboard->press(letterK);
        QTRY_COMPARE(m_outcomes, QStringList{u"invalid"_s});
        QTRY_VERIFY_WITH_TIMEOUT(repeats.count > 1, 30000);
        m_keyboard->release(letterK);
        m_keyboard->tapWith({TestKeyboard::control}, letterA);
        QTRY_COMPARE(m_outcomes, (QStringList{u"invalid"_s, u"capture 0:4096"_s}));
    }

    void keysPassThroughWhileNotRecording() {
        m_recorder->setDescription(describe(false));
        m_field->setFocus();
        m_keyboard->tap(letterK);
        QTRY_COMPARE(m_field->text(), u"k"_s);
        QCOMPARE(m_outcomes, QStringList());
    }

    // From here on each test makes a keyboard of its own.

    void keysThatSwitchLayoutsAreNoKeyPress_data() {
        QTest::addColumn<QString>("option");
        QTest::addColumn<int>("held");
        QTest::addColumn<int>("key");
        const auto row = [](const char *option, xcb_keycode_t held, xcb_keycode_t key) {
            QTest::addRow("%s, %d then %d", option, held, key)
                << QString::fromLatin1(option) << int(held) << int(key);
        };
        constexpr auto control = TestKeyboard::control;
        constexpr auto shift = TestKeyboard::shift;
        constexpr auto alt = TestKeyboard::alt;
        row("grp:alt_shift_toggle", alt, shift);
        row("grp:alt_shift_toggle", shift, alt);
        row("grp:ctrl_shift_toggle", control, shift);
        row("grp:ctrl_shift_toggle", shift, control);
        row("grp:ctrl_alt_toggle", control, alt);
        row("grp:lwin_toggle", control, TestKeyboard::super);
        row("grp:rctrl_toggle", alt, TestKeyboard::rightControl);
        row("grp:shifts_toggle", shift, TestKeyboard::rightShift);
        row("grp:caps_toggle", control, TestKeyboard::capsLock);
        row("caps:escape", control, TestKeyboard::capsLock);
    }

    void keysThatSwitchLayoutsAreNoKeyPress() {
        QFETCH(QString, option);
        QFETCH(int, held);
        QFETCH(int, key);
        useKeyboard(u"us,ru"_s, option);
        m_keyboard->tapWith({static_cast<xcb_keycode_t>(held)}, static_cast<xcb_keycode_t>(key));
        m_keyboard->lockGroup(0);
        m_keyboard->tapWith({TestKeyboard::control}, letterA);
        QTRY_COMPARE(m_outcomes, QStringList{u"capture 0:4096"_s});
    }

    void aKeyThatSwitchesLayoutsTogetherWithSuperIsAKeyLikeAnyOther() {
        useKeyboard(u"us,ru"_s, u"grp:win_space_toggle"_s);
        m_keyboard->tapWith({TestKeyboard::super}, TestKeyboard::space);
        QTRY_COMPARE(m_outcomes, QStringList{u"capture 49:256"_s});
        m_keyboard->lockGroup(0);
    }

    void thePositionCountsNotTheLayout() {
        useKeyboard(u"fr"_s, {}); // where this key types q
        m_keyboard->tapWith({TestKeyboard::control}, letterA);
        QTRY_COMPARE(m_outcomes, QStringList{u"capture 0:4096"_s});
    }

private:
    HotKeyRecorderView::Description describe(bool isRecording) {
        return {isRecording,
                [this](const AppHotKey &hotKey) { m_outcomes += u"capture "_s + hotKey.storageValue(); },
                [this] { m_outcomes += u"cancel"_s; }, [this] { m_outcomes += u"invalid"_s; }};
    }
    void useKeyboard(const QString &layout, const QString &option) const {
        m_display.setLayout({layout, u"-option"_s, QString(), u"-option"_s, option});
    }
    void record() {
        m_recorder->setDescription(describe(true));
        m_platform->run();
        QTRY_VERIFY(m_recorder->hasFocus());
    }

    const VirtualDisplay &m_display;
    std::optional<PlatformWithRealKeys> m_platform;
    std::optional<QWidget> m_window;
    std::optional<TestKeyboard> m_keyboard;
    QLineEdit *m_field = nullptr;             ///< the window's
    HotKeyRecorderView *m_recorder = nullptr; ///< likewise
    QStringList m_outcomes;
};

int main(int argc, char **argv) {
    std::optional<VirtualDisplay> display;
    {
        QCoreApplication starting(argc, argv);
        display.emplace();
    }
    qputenv("DISPLAY", display->name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    HotKeyRecorderOnXTest test(*display);
    return QTest::qExec(&test, argc, argv);
}
#include "HotKeyRecorderOnXTest.moc"
