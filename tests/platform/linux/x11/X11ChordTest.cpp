#include "hotkey/AppHotKey.h"
#include "platform/linux/x11/PasteConditions.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "support/RewritingDisplay.h"
#include "support/TestWindow.h"

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ChildProcess;
using test::TestKeyboard;
using test::TestWindow;

namespace {

constexpr quint16 positionOfV = 9;
constexpr xcb_keycode_t keyOfV = 55;
constexpr xcb_keycode_t keyOfInsert = 118;
constexpr unsigned noModifiers = 0;

/// What pastes into a window.
struct Chord {
    QByteArray windowClass;
    xcb_keycode_t key;
    unsigned modifiers;
};

} // namespace

Q_DECLARE_METATYPE(Chord)

/// The exact keystrokes that arrive in the focused window, whatever is held and whatever the layout.
class X11ChordTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_connection = std::make_unique<platform::X11Connection>(m_display.name());
        m_serverEvents = std::make_unique<platform::X11Events>(*m_connection);
        m_hotKeys = std::make_unique<platform::X11HotKeys>(*m_serverEvents);
        m_primaryRequests = 0;
        m_keystrokes = std::make_unique<platform::X11Keystrokes>(*m_serverEvents, *m_hotKeys,
                                                                 [this] { ++m_primaryRequests; });
        m_keyboard = std::make_unique<TestKeyboard>(m_display.name());
        focusWindowOfClass("Editor");
    }
    void cleanup() {
        m_keyboard->releaseAll();
        m_keyboard->unstickModifiers();
        m_keystrokes.reset();
        m_hotKey.reset();
        m_hotKeys.reset();
        m_serverEvents.reset();
        m_connection.reset();
        m_window.reset();
        test::Layout::all().first().apply(m_display, *m_keyboard);
        m_keyboard.reset();
    }

    void exactlyControlVArrives_data() { test::addPasteConditions(); }
    void exactlyControlVArrives() {
        QFETCH(test::Layout, layout);
        QFETCH(test::Held, held);
        layout.apply(m_display, *m_keyboard);
        hold(held);
        m_window->takeKeys();

        paste();
        QVERIFY(waitForChord(layout.keyOfV, XCB_MOD_MASK_CONTROL));
        QCOMPARE(m_primaryRequests, 0);
    }

    void aServerWithoutTheKeyboardExtensionIsPastedOnToo() {
        const test::RewritingDisplay display(m_display.name(), "XKEYBOARD", "XKEYBOARd");
        platform::X11Connection connection(display.name());
        platform::X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        platform::X11Keystrokes keystrokes(events, hotKeys, [] {});
        m_window->takeKeys();
        paste(keystrokes);
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QVERIFY(connection.isUsable());
    }

    void aServerThatHangsGetsNoChordToPressLater() {
        m_display.server().signal(SIGSTOP);
        std::optional<bool> isPosted;
        m_keystrokes->postPasteChord([] { return true; }, [&](bool outcome) { isPosted = outcome; });
        m_display.server().signal(SIGCONT);
        QCOMPARE(isPosted, false);
        m_connection->sync();
        QVERIFY(m_window->takeKeys().empty());
    }

    void nothingIsHeldAfterwards_data() { test::addPasteConditions(); }
    void nothingIsHeldAfterwards() {
        QFETCH(test::Layout, layout);
        QFETCH(test::Held, held);
        layout.apply(m_display, *m_keyboard);
        hold(held);
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        m_keyboard->releaseAll();
        QCOMPARE(m_keyboard->modifiers(), held.isCapsLockOn ? unsigned{XCB_MOD_MASK_LOCK} : noModifiers);
    }

    void altAndSuperGoUpOnlyOnceControlIsDown_data() {
        QTest::addColumn<xcb_keycode_t>("modifier");
        QTest::newRow("Alt") << TestKeyboard::alt;
        QTest::newRow("Super") << TestKeyboard::super;
    }
    void altAndSuperGoUpOnlyOnceControlIsDown() {
        QFETCH(xcb_keycode_t, modifier);
        m_keyboard->press(modifier);
        m_window->takeKeys();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        const auto keys = m_window->takeKeys();
        QVERIFY(keys.size() >= 2);
        QCOMPARE(keys[0].keycode, TestKeyboard::control);
        QVERIFY(keys[0].isDown);
        QCOMPARE(keys[1].keycode, modifier);
        QVERIFY(!keys[1].isDown);
    }

    void theKeyGoesUpBeforeItsModifier() {
        m_window->takeKeys();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        std::vector<xcb_keycode_t> released;
        for (const auto &key : m_window->takeKeys()) {
            if (!key.isDown)
                released.push_back(key.keycode);
        }
        QCOMPARE(released, (std::vector<xcb_keycode_t>{keyOfV, TestKeyboard::control}));
    }

    void aLiftedModifierIsNeverPressedAgain() {
        m_keyboard->press(TestKeyboard::alt);
        m_window->takeKeys();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        for (const auto &key : m_window->takeKeys())
            QVERIFY(key.keycode != TestKeyboard::alt || !key.isDown);
    }

    void theControlThatTheUserHoldsIsNotPartOfTheChord() {
        m_keyboard->press(TestKeyboard::control);
        m_window->takeKeys();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        std::vector<xcb_keycode_t> pressed;
        for (const auto &key : m_window->takeKeys()) {
            if (key.isDown)
                pressed.push_back(key.keycode);
        }
        QCOMPARE(pressed, (std::vector<xcb_keycode_t>{TestKeyboard::rightControl, keyOfV}));
    }

    void bothControlKeysMayBeHeld() {
        m_keyboard->press(TestKeyboard::control);
        m_keyboard->press(TestKeyboard::rightControl);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
    }

    void aLayoutWithoutVGetsTheKeyAtItsPosition() {
        m_display.setLayout({u"ru"_s});
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
    }

    void controlMovedToAnotherKeyIsFound() {
        m_display.setLayout({u"us"_s, u"-option"_s, u"ctrl:swapcaps"_s});
        paste();
        const bool arrived = waitForChord(keyOfV, XCB_MOD_MASK_CONTROL);
        m_display.setLayout({u"us"_s, u"-option"_s});
        QVERIFY(arrived);
    }

    void theKeyOfVItselfMayBeHeld() {
        m_keyboard->press(keyOfV);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
    }

    void aModifierThatSticksIsNotPartOfTheChord_data() { addStickyModifiers(); }
    void aModifierThatSticksIsNotPartOfTheChord() {
        QFETCH(Chord, chord);
        focusWindowOfClass(chord.windowClass);
        tapStickyModifiers();
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(chord.key, chord.modifiers));
    }

    void noModifierSticksAfterwards_data() { addStickyModifiers(); }
    void noModifierSticksAfterwards() {
        QFETCH(Chord, chord);
        focusWindowOfClass(chord.windowClass);
        tapStickyModifiers();
        m_window->takeKeys();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        QCOMPARE(m_keyboard->modifiers(), noModifiers);
        m_window->takeKeys();
        m_keyboard->tap(keyOfV);
        QVERIFY(waitForChord(keyOfV, noModifiers));
    }

    void aHeldModifierThatWouldStickDoesNot_data() {
        QTest::addColumn<xcb_keycode_t>("modifier");
        QTest::addColumn<Chord>("chord");
        for (const auto &[name, modifier] : modifierKeys()) {
            for (const Chord &chord : chords())
                QTest::addRow("%s, %s", name, chord.windowClass.constData()) << modifier << chord;
        }
    }
    void aHeldModifierThatWouldStickDoesNot() {
        QFETCH(xcb_keycode_t, modifier);
        QFETCH(Chord, chord);
        focusWindowOfClass(chord.windowClass);
        m_keyboard->stickModifiers();
        m_keyboard->press(modifier);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(chord.key, chord.modifiers));
        m_keyboard->releaseAll();
        QCOMPARE(m_keyboard->modifiers(), noModifiers);
    }

    /// The server ends them when two keys go down at once.
    void stickyKeysStaySwitchedOn_data() { addStickyModifiers(); }
    void stickyKeysStaySwitchedOn() {
        QFETCH(Chord, chord);
        focusWindowOfClass(chord.windowClass);
        tapStickyModifiers();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        QVERIFY(m_keyboard->doModifiersStick());
    }

    void theUsersTwoKeysAtOnceStillEndStickyKeysAfterwards() {
        m_keyboard->stickModifiers();
        paste();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        m_keyboard->tapWith({TestKeyboard::shift}, keyOfV);
        QVERIFY(!m_keyboard->doModifiersStick());
    }

    void lockKeysStayAsTheyAre() {
        constexpr unsigned capsAndNumLock = XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2;
        m_keyboard->tap(TestKeyboard::capsLock);
        m_keyboard->tap(TestKeyboard::numLock);
        QCOMPARE(m_keyboard->modifiers(), capsAndNumLock);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QCOMPARE(m_keyboard->modifiers(), capsAndNumLock);
    }

    /// Which goes off when it goes up, if it was on.
    void aLockKeyThatIsHeldStaysAsItIs() {
        m_keyboard->tap(TestKeyboard::numLock);
        m_keyboard->press(TestKeyboard::numLock);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{TestKeyboard::numLock});
        QCOMPARE(m_keyboard->modifiers(), unsigned{XCB_MOD_MASK_2});
        m_keyboard->release(TestKeyboard::numLock);
        QCOMPARE(m_keyboard->modifiers(), 0U);
    }

    void programsGetTheirOwnWayToPaste_data() {
        QTest::addColumn<QByteArray>("windowClass");
        QTest::addColumn<xcb_keycode_t>("key");
        QTest::addColumn<unsigned>("modifiers");
        QTest::addColumn<int>("primaryRequests");
        constexpr unsigned controlShift = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT;
        for (const char *name :
             {"Gnome-terminal", "Xfce4-terminal", "konsole", "kitty", "Alacritty", "Tilix", "st-256color"})
            QTest::newRow(name) << QByteArray(name) << keyOfV << controlShift << 0;
        for (const char *name : {"XTerm", "UXTerm", "URxvt", "Gvim"})
            QTest::newRow(name) << QByteArray(name) << keyOfInsert << unsigned{XCB_MOD_MASK_SHIFT} << 1;
        QTest::newRow("Emacs") << QByteArray("Emacs") << keyOfInsert << unsigned{XCB_MOD_MASK_SHIFT} << 0;
        QTest::newRow("an unknown class")
            << QByteArray("Whatever") << keyOfV << unsigned{XCB_MOD_MASK_CONTROL} << 0;
        QTest::newRow("no class") << QByteArray() << keyOfV << unsigned{XCB_MOD_MASK_CONTROL} << 0;
    }
    void programsGetTheirOwnWayToPaste() {
        QFETCH(QByteArray, windowClass);
        QFETCH(xcb_keycode_t, key);
        QFETCH(unsigned, modifiers);
        focusWindowOfClass(windowClass);
        m_keyboard->press(TestKeyboard::alt);
        m_keyboard->press(TestKeyboard::shift);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(key, modifiers));
        QTEST(m_primaryRequests, "primaryRequests");
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
    }

    void theConditionIsAskedOnceThePrimarySelectionIsThere() {
        focusWindowOfClass("XTerm");
        QList<int> requestsBefore;
        m_keystrokes->postPasteChord(
            [&] {
                requestsBefore += m_primaryRequests;
                return false;
            },
            [](bool) {});
        QCOMPARE(requestsBefore, QList{1});
    }

    void theChordArrivesWhileTheHotkeyIsDown_data() { addKeyboards(); }
    void theChordArrivesWhileTheHotkeyIsDown() {
        useKeyboard();
        registerHotKeyAndHoldIt();
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
    }

    void theChordArrivesBeforeTheHotkeysPressIsDelivered_data() { addKeyboards(); }
    void theChordArrivesBeforeTheHotkeysPressIsDelivered() {
        useKeyboard();
        registerHotKey();
        holdHotKey();
        m_window->takeKeys();
        paste();
        QVERIFY(m_events.isEmpty());
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void theHotkeysReleaseIsDeliveredAfterAChordThatTookItsGrab_data() { addKeyboards(); }
    void theHotkeysReleaseIsDeliveredAfterAChordThatTookItsGrab() {
        useKeyboard();
        registerHotKeyAndHoldIt();
        paste();
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aHotkeyThatIsThePasteChordLetsTheChordThrough_data() {
        QTest::addColumn<QByteArray>("windowClass");
        QTest::addColumn<quint32>("hotKeyModifiers");
        QTest::addColumn<unsigned>("modifiers");
        QTest::newRow("editor") << QByteArray("Editor") << AppHotKey::controlKey
                                << unsigned{XCB_MOD_MASK_CONTROL};
        QTest::newRow("terminal") << QByteArray("konsole") << (AppHotKey::controlKey | AppHotKey::shiftKey)
                                  << unsigned{XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT};
    }
    void aHotkeyThatIsThePasteChordLetsTheChordThrough() {
        QFETCH(QByteArray, windowClass);
        QFETCH(quint32, hotKeyModifiers);
        QFETCH(unsigned, modifiers);
        focusWindowOfClass(windowClass);
        registerHotKey({positionOfV, hotKeyModifiers});
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(keyOfV, modifiers));
        QVERIFY(m_events.isEmpty());
    }

    void aHotkeyThatIsThePasteChordWorksAgainAfterTheChord() {
        registerHotKey({positionOfV, AppHotKey::controlKey});
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        m_keyboard->tapWith({TestKeyboard::control}, keyOfV);
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aChordDuringASuspensionDoesNotEndIt() {
        registerHotKey({positionOfV, AppHotKey::controlKey});
        const auto suspension = m_hotKeys->suspend();
        paste();
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        m_keyboard->tapWith({TestKeyboard::control}, keyOfV);
        QVERIFY(waitForChord(keyOfV, XCB_MOD_MASK_CONTROL));
        QVERIFY(m_events.isEmpty());
    }

    void theHotkeyHeldThroughAChordTypesNothing_data() { addKeyboards(); }
    void theHotkeyHeldThroughAChordTypesNothing() {
        useKeyboard();
        m_display.run(u"xset"_s, {u"r"_s, u"rate"_s, u"50"_s, u"50"_s});
        registerHotKeyAndHoldIt();
        m_window->takeKeys();
        paste();
        int spaces = 0;
        ChildProcess::waitUntil(
            [&] {
                for (const auto &key : m_window->takeKeys())
                    spaces += key.keycode == TestKeyboard::space && key.isDown;
                return spaces > 0;
            },
            500); // ten times what the first repetition takes
        m_display.run(u"xset"_s, {u"r"_s, u"rate"_s});
        QCOMPARE(spaces, 0);
    }

    void aKeyboardOfItsOwnMakesNoDifference_data() { test::addPasteConditions(); }
    void aKeyboardOfItsOwnMakesNoDifference() {
        QFETCH(test::Layout, layout);
        QFETCH(test::Held, held);
        m_keyboard = std::make_unique<TestKeyboard>(m_display.name(), deviceOfTheUser());
        layout.apply(m_display, *m_keyboard);
        hold(held);
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(layout.keyOfV, XCB_MOD_MASK_CONTROL));
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_keyboard->keysDown(), std::vector<xcb_keycode_t>{});
        QCOMPARE(m_keyboard->modifiers(), held.isCapsLockOn ? unsigned{XCB_MOD_MASK_LOCK} : noModifiers);
    }

    void whatSticksOnAKeyboardOfItsOwnMakesNoDifference_data() { addStickyModifiers(); }
    void whatSticksOnAKeyboardOfItsOwnMakesNoDifference() {
        QFETCH(Chord, chord);
        m_keyboard = std::make_unique<TestKeyboard>(m_display.name(), deviceOfTheUser());
        focusWindowOfClass(chord.windowClass);
        tapStickyModifiers();
        m_window->takeKeys();
        paste();
        QVERIFY(waitForChord(chord.key, chord.modifiers));
        QVERIFY(m_keyboard->doModifiersStick());
        m_keyboard->tap(keyOfV);
        QVERIFY(waitForChord(keyOfV, noModifiers));
    }

private:
    static std::vector<std::pair<const char *, xcb_keycode_t>> modifierKeys() {
        return {{"Ctrl", TestKeyboard::control},
                {"Alt", TestKeyboard::alt},
                {"Shift", TestKeyboard::shift},
                {"Super", TestKeyboard::super}};
    }
    static std::vector<Chord> chords() {
        return {{"Editor", keyOfV, XCB_MOD_MASK_CONTROL}, {"XTerm", keyOfInsert, XCB_MOD_MASK_SHIFT}};
    }
    static void addStickyModifiers() {
        QTest::addColumn<xcb_keycode_t>("modifier");
        QTest::addColumn<int>("taps");
        QTest::addColumn<Chord>("chord");
        for (const auto &[name, modifier] : modifierKeys()) {
            for (const Chord &chord : chords()) {
                QTest::addRow("%s latched, %s", name, chord.windowClass.constData())
                    << modifier << 1 << chord;
                QTest::addRow("%s locked, %s", name, chord.windowClass.constData()) << modifier << 2 << chord;
            }
        }
    }
    void tapStickyModifiers() {
        QFETCH(xcb_keycode_t, modifier);
        QFETCH(int, taps);
        m_keyboard->stickModifiers();
        for (int i = 0; i < taps; ++i)
            m_keyboard->tap(modifier);
        QVERIFY(m_keyboard->modifiers() != noModifiers);
    }

    /// Ordinary keyboards are devices apart from the one that programs synthesise keystrokes on.
    static void addKeyboards() {
        QTest::addColumn<bool>("isOwnDevice");
        QTest::newRow("the same device") << false;
        QTest::newRow("a device of its own") << true;
    }
    void useKeyboard() {
        QFETCH(bool, isOwnDevice);
        if (isOwnDevice)
            m_keyboard = std::make_unique<TestKeyboard>(m_display.name(), deviceOfTheUser());
    }
    uint8_t deviceOfTheUser() const {
        const auto number =
            m_display.run(u"xinput"_s, {u"list"_s, u"--id-only"_s, u"Xvfb keyboard"_s}).trimmed();
        return static_cast<uint8_t>(number.toUShort());
    }

    void focusWindowOfClass(const QByteArray &windowClass) {
        m_window =
            std::make_unique<TestWindow>(m_display.name(), TestWindow::Properties{windowClass, {}, false});
        m_window->show();
        m_window->takeFocus();
        QTRY_VERIFY(m_window->hasFocus());
    }

    void hold(const test::Held &held) {
        if (held.isCapsLockOn)
            m_keyboard->tap(TestKeyboard::capsLock);
        for (const auto key : held.keys)
            m_keyboard->press(key);
        QCOMPARE(m_keyboard->keysDown().size(), held.keys.size());
    }

    /// The server has done all of it afterwards.
    void paste() {
        paste(*m_keystrokes);
        m_connection->sync();
    }

    static void paste(platform::Keystrokes &keystrokes) {
        bool isPosted = false;
        keystrokes.postPasteChord([] { return true; }, [&](bool outcome) { isPosted = outcome; });
        QVERIFY(isPosted);
    }

    /// Whether the key arrives, once, with exactly these modifiers, and no other key but modifiers does.
    bool waitForChord(xcb_keycode_t keycode, unsigned modifiers) {
        std::vector<TestWindow::Key> pressed;
        bool isUp = false;
        ChildProcess::waitUntil(
            [&] {
                for (const auto &key : m_window->takeKeys()) {
                    if (isModifier(key.keycode))
                        continue;
                    if (key.isDown)
                        pressed.push_back(key);
                    else
                        isUp = key.keycode == keycode;
                }
                return isUp;
            },
            3000);
        return pressed == std::vector{TestWindow::Key{keycode, true, modifiers}};
    }

    static bool isModifier(xcb_keycode_t key) {
        constexpr xcb_keycode_t keys[] = {
            TestKeyboard::control, TestKeyboard::rightControl, TestKeyboard::alt,     TestKeyboard::shift,
            TestKeyboard::super,   TestKeyboard::rightShift,   TestKeyboard::capsLock};
        return std::ranges::count(keys, key) != 0;
    }

    static inline const QString hotKeyPressed = u"pressed"_s;
    static inline const QString hotKeyReleased = u"released"_s;
    static QStringList pressAndRelease() { return {hotKeyPressed, hotKeyReleased}; }

    void registerHotKey(const AppHotKey &combination = AppHotKey::defaultValue) {
        m_events.clear();
        m_hotKey = m_hotKeys->take({combination.keyCode, combination.modifiers},
                                   {.pressed = [this] { m_events += hotKeyPressed; },
                                    .released = [this] { m_events += hotKeyReleased; }});
    }
    void holdHotKey() {
        m_keyboard->press(TestKeyboard::control);
        m_keyboard->press(TestKeyboard::alt);
        m_keyboard->press(TestKeyboard::space);
    }
    void registerHotKeyAndHoldIt() {
        registerHotKey();
        holdHotKey();
        ChildProcess::waitUntil([this] { return m_events == QStringList{hotKeyPressed}; });
    }

    test::VirtualDisplay m_display;
    std::unique_ptr<platform::X11Connection> m_connection;
    std::unique_ptr<platform::X11Events> m_serverEvents;
    std::unique_ptr<platform::X11HotKeys> m_hotKeys;
    std::unique_ptr<platform::X11Keystrokes> m_keystrokes;
    std::unique_ptr<TestKeyboard> m_keyboard;
    std::unique_ptr<TestWindow> m_window;
    std::unique_ptr<platform::TakenHotKey> m_hotKey;
    QStringList m_events;
    int m_primaryRequests = 0;
};

QTEST_GUILESS_MAIN(X11ChordTest)
#include "X11ChordTest.moc"
