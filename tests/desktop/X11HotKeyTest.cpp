#include "hotkey/AppHotKey.h"
#include "platform/linux/x11/X11HotKeyEvents.h"
#include "support/RewritingDisplay.h"
#include "support/TestKeyboard.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <xcb/xinput.h>

using namespace quillora;
using platform::HotKeyEvents;
using test::ChildProcess;
using test::TestKeyboard;
using test::TestWindow;

namespace {

constexpr uint16_t controlAndAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
constexpr uint8_t scrollLockModifier = XCB_MOD_MASK_3; // the one that the test gives it
constexpr xcb_input_device_id_t coreKeyboard = 3;

} // namespace

/// What a hotkey meets on real keyboards.
class X11HotKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_keyboard = std::make_unique<TestKeyboard>(m_display.name());
        m_otherProgram = std::make_unique<test::XcbClient>(m_display.name());
        m_connection = std::make_unique<platform::X11Connection>(m_display.name());
        m_events = std::make_unique<platform::X11HotKeyEvents>(*m_connection);
        m_pressEvents = 0;
        QObject::connect(m_connection.get(), &platform::X11Connection::eventReceived,
                         [this](const xcb_generic_event_t *event) {
                             m_pressEvents += event->response_type == XCB_KEY_PRESS;
                         });
        m_kinds.clear();
        std::optional<platform::EventHandlerReference> handler;
        m_events->installEventHandler(
            [this](const platform::HotKeyEvent *event) {
                m_kinds += event->kind;
                return HotKeyEvents::noError;
            },
            {{platform::keyboardEventClass, platform::hotKeyPressedKind},
             {platform::keyboardEventClass, platform::hotKeyReleasedKind}},
            handler);
    }
    void cleanup() {
        m_keyboard->releaseAll();
        m_keyboard->lockModifiers(0);
        m_keyboard->lockGroup(0);
        m_display.setLayout({u"us"_qs});
        m_display.run(u"xset"_qs, {u"r"_qs, u"rate"_qs});
        m_events.reset();
        m_connection.reset();
        xcb_ungrab_key(m_otherProgram->xcb(), XCB_GRAB_ANY, m_otherProgram->root(), XCB_MOD_MASK_ANY);
        m_otherProgram->sync();
        m_otherProgram.reset();
        m_keyboard.reset();
    }

    void noLockKeyMatters_data() {
        QTest::addColumn<uint8_t>("locked");
        const std::pair<const char *, uint8_t> locks[] = {{"Caps Lock ", XCB_MOD_MASK_LOCK},
                                                          {"Num Lock ", XCB_MOD_MASK_2},
                                                          {"Scroll Lock ", scrollLockModifier}};
        for (unsigned row = 0; row < 8; ++row) {
            QByteArray name;
            unsigned locked = 0;
            for (unsigned i = 0; i < 3; ++i) {
                if (row & (1u << i)) {
                    name += locks[i].first;
                    locked |= locks[i].second;
                }
            }
            QTest::newRow(name.isEmpty() ? "none" : name.constData()) << static_cast<uint8_t>(locked);
        }
    }
    void noLockKeyMatters() {
        QFETCH(uint8_t, locked);
        m_display.run(u"xmodmap"_qs, {u"-e"_qs, u"add mod3 = Scroll_Lock"_qs});
        registerHotKey();
        m_keyboard->lockModifiers(locked);
        tap();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void aHeldKeyThatRepeatsIsOnePressAndOneRelease() {
        repeatFast();
        registerHotKey();
        hold();
        QTRY_VERIFY(m_pressEvents >= 5);
        QCOMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void modifiersThatGoUpFirstDoNotEndThePress() {
        registerHotKey();
        hold();
        QTRY_COMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_keyboard->release(TestKeyboard::control);
        m_keyboard->release(TestKeyboard::alt);
        m_connection->sync();
        QCoreApplication::processEvents();
        QCOMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_keyboard->release(TestKeyboard::space);
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void aChangeOfLayoutKeepsTheHotKey() {
        registerHotKey();
        m_display.setLayout({u"us"_qs, u"dvorak"_qs});
        QTRY_VERIFY(tapWorks());
    }

    void aLetterThatMovesLeavesTheHotKeyWhereItWas() {
        constexpr xcb_keycode_t keyLeftOfX = 52;
        constexpr xcb_keycode_t keyRightOfT = 29;
        std::optional<platform::HotKeyReference> hotKey;
        constexpr quint32 positionOfZ = 6;
        QCOMPARE(
            m_events->registerEventHotKey(positionOfZ, AppHotKey::defaultValue.modifiers, {0, 1}, 0, hotKey),
            HotKeyEvents::noError);
        useLayout(u"de"_qs); // has Z where Y was
        tap(keyRightOfT);
        m_connection->sync();
        QCoreApplication::processEvents();
        QCOMPARE(m_kinds, QList<quint32>());
        tap(keyLeftOfX);
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void aChangeOfLayoutNeverLeavesTheCombinationToOthers() {
        registerHotKey();
        std::atomic<bool> isOver = false;
        bool wasFree = false;
        std::thread greedyProgram([&] {
            while (!isOver && !wasFree)
                wasFree = canBeTakenElsewhere(controlAndAlt);
        });
        for (int change = 0; change < 10; ++change) {
            useLayout(u"de"_qs);
            useLayout(u"us"_qs);
        }
        isOver = true;
        greedyProgram.join();
        QVERIFY(!wasFree);
    }

    void aLockThatMovesAwayLeavesItsModifierToOthers() {
        m_display.run(u"xmodmap"_qs, {u"-e"_qs, u"add mod3 = Scroll_Lock"_qs});
        registerHotKey();
        QVERIFY(!canBeTakenElsewhere(controlAndAlt | scrollLockModifier));
        m_display.run(u"xmodmap"_qs, {u"-e"_qs, u"clear mod3"_qs});
        QTRY_VERIFY(canBeTakenElsewhere(controlAndAlt | scrollLockModifier));
    }

    void aLockThatMovesToAnotherModifierStillDoesNotMatter() {
        registerHotKey();
        m_display.run(u"xmodmap"_qs, {u"-e"_qs, u"add mod3 = Scroll_Lock"_qs});
        m_keyboard->lockModifiers(scrollLockModifier);
        QTRY_VERIFY(tapWorks());
    }

    void aChangeOfLayoutDuringThePressKeepsTheRelease() {
        registerHotKey();
        hold();
        QTRY_COMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_display.setLayout({u"de"_qs});
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void theSecondLayoutOfTwoHasTheHotKeyToo() {
        m_display.setLayout({u"us,ru"_qs});
        m_keyboard->lockGroup(1);
        registerHotKey();
        tap();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void aCombinationTakenInOneLockVariantIsRefusedAsAWhole() {
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(attemptToRegister() != HotKeyEvents::noError);
        // Nothing of the refused registration may be left behind.
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_2));
    }

    void aCombinationThatIsTakenDuringASuspensionIsHadBackOnceItIsFree() {
        registerHotKey();
        m_events->suspend();
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
        m_events->resume();
        QVERIFY(!tapWorks());
        auto *xcb = m_otherProgram->xcb();
        xcb_ungrab_key(xcb, TestKeyboard::space, m_otherProgram->root(), controlAndAlt);
        xcb_flush(xcb);
        QVERIFY(ChildProcess::waitUntil([this] { return tapWorks(); }));
    }

    void aCombinationTakenThroughTheInputExtensionIsRefused_data() {
        QTest::addColumn<xcb_input_device_id_t>("device");
        QTest::newRow("of every keyboard") << xcb_input_device_id_t{XCB_INPUT_DEVICE_ALL_MASTER};
        QTest::newRow("of the core keyboard") << coreKeyboard;
        QTest::newRow("of every device") << xcb_input_device_id_t{XCB_INPUT_DEVICE_ALL};
    }

    void aCombinationTakenThroughTheInputExtensionIsRefused() {
        QFETCH(xcb_input_device_id_t, device);
        QVERIFY(canBeTakenByInputExtension(controlAndAlt, device));
        QVERIFY(attemptToRegister() != HotKeyEvents::noError);
        // Nothing of the refused registration may be left behind.
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_2));
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_2, device));
    }

    void aCombinationTakenThroughTheInputExtensionInOneLockVariantIsRefused() {
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(attemptToRegister() != HotKeyEvents::noError);
        QVERIFY(canBeTakenByInputExtension(controlAndAlt));
    }

    void aRegisteredCombinationCannotBeTakenThroughTheInputExtension() {
        registerHotKey();
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt));
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt, coreKeyboard));
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
        tap();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void whatIsGivenBackCanBeTakenThroughTheInputExtension_data() {
        using GiveBack = std::function<void(X11HotKeyTest &)>;
        QTest::addColumn<GiveBack>("giveBack");
        QTest::newRow("unregistered")
            << GiveBack([](X11HotKeyTest &test) { test.m_events->unregisterEventHotKey(*test.m_hotKey); });
        QTest::newRow("suspended") << GiveBack([](X11HotKeyTest &test) { test.m_events->suspend(); });
        QTest::newRow("ended") << GiveBack([](X11HotKeyTest &test) { test.m_events.reset(); });
    }

    void whatIsGivenBackCanBeTakenThroughTheInputExtension() {
        QFETCH(std::function<void(X11HotKeyTest &)>, giveBack);
        registerHotKey();
        giveBack(*this);
        QVERIFY(canBeTakenByInputExtension(controlAndAlt));
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }

    void aServerWithoutTheInputExtensionHasHotKeys() {
        const test::RewritingDisplay display(m_display.name(), "XInputExtension", "XInputExtensioN");
        platform::X11Connection connection(display.name());
        platform::X11HotKeyEvents events(connection);
        std::optional<platform::HotKeyReference> hotKey;
        QCOMPARE(events.registerEventHotKey(49, AppHotKey::controlKey, {0, 1}, 0, hotKey),
                 HotKeyEvents::noError);
        QVERIFY(connection.isUsable());
    }

    void whereAHeldKeyCannotBeToldFromATappedOneHotKeysAreRefused_data() {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::newRow("no keyboard extension") << QByteArray("XKEYBOARD") << QByteArray("XKEYBOARd");
        // A request for detectable repeats, and one that changes nothing: the length, the core keyboard,
        // padding, what to change and its value.
        const auto request = [](char flag) {
            return QByteArray("\x07\0\0\x01\0\0", 6) + flag + QByteArray("\0\0\0\x01\0\0\0", 7);
        };
        QTest::newRow("repeats that look like presses") << request(1) << request(0);
    }

    void whereAHeldKeyCannotBeToldFromATappedOneHotKeysAreRefused() {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const test::RewritingDisplay display(m_display.name(), from, to);
        platform::X11Connection connection(display.name());
        platform::X11HotKeyEvents events(connection);
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(events.registerEventHotKey(49, AppHotKey::controlKey, {0, 1}, 0, hotKey) !=
                HotKeyEvents::noError);
        QVERIFY(!hotKey);
        QVERIFY(connection.isUsable());
    }

    void aHeldHotKeyTypesNothingEvenIfItsModifiersGoUpFirst() {
        repeatFast();
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        registerHotKey();
        hold();
        m_keyboard->release(TestKeyboard::control);
        m_keyboard->release(TestKeyboard::alt);
        QTRY_VERIFY(m_pressEvents >= 5);
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_kinds, pressAndRelease());
        for (const auto &key : window.takeKeys())
            QVERIFY(key.keycode != TestKeyboard::space);
    }

    void theKeyboardIsForOthersAgainAsSoonAsTheKeyIsUp() {
        registerHotKey();
        hold();
        QTRY_COMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        QVERIFY(!keyboardCanBeTakenElsewhere());
        m_keyboard->release(TestKeyboard::space);
        QVERIFY(keyboardCanBeTakenElsewhere());
    }

    void aRegisteredCombinationCannotBeTakenElsewhere() {
        registerHotKey();
        QVERIFY(!canBeTakenElsewhere(controlAndAlt));
        QVERIFY(!canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }

    void theEndOfTheObjectGivesTheCombinationBack() {
        registerHotKey();
        m_events.reset();
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
    }

    void aKeyThatNoKeyboardHasIsRefused() {
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(m_events->registerEventHotKey(127, AppHotKey::controlKey, {0, 1}, 0, hotKey) !=
                HotKeyEvents::noError);
        QVERIFY(!hotKey);
    }

    void theReleaseIsNoticedWhenTheGrabIsLost() {
        registerHotKey();
        hold();
        QTRY_COMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_events->releaseActiveGrab();
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_kinds, pressAndRelease());
    }

    void aKeyboardThatIsDisabledLetsGoOfTheHotKey() {
        const QString device = u"Xvfb keyboard"_qs;
        const auto number = m_display.run(u"xinput"_qs, {u"list"_qs, u"--id-only"_qs, device}).toUShort();
        TestKeyboard keyboard(m_display.name(), static_cast<uint8_t>(number));
        registerHotKey();
        keyboard.press(TestKeyboard::control);
        keyboard.press(TestKeyboard::alt);
        keyboard.press(TestKeyboard::space);
        QTRY_COMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_display.run(u"xinput"_qs, {u"disable"_qs, device});
        const bool isReleased =
            ChildProcess::waitUntil([this] { return m_kinds == pressAndRelease(); }, 3000);
        const bool isKeyboardFree = keyboardCanBeTakenElsewhere();
        m_display.run(u"xinput"_qs, {u"enable"_qs, device});
        QVERIFY(isReleased);
        QVERIFY(isKeyboardFree);
    }

    void aSuspendedCombinationReachesTheFocusedWindow() {
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        registerHotKey();
        m_events->suspend();
        tap();
        const auto keys = window.takeKeys();
        QCOMPARE(std::ranges::count(keys, TestWindow::Key{TestKeyboard::space, true, controlAndAlt}), 1);
    }

    void aRegisteredCombinationDoesNotReachTheFocusedWindow() {
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        registerHotKey();
        tap();
        for (const auto &key : window.takeKeys())
            QVERIFY(key.keycode != TestKeyboard::space);
    }

    void aServerThatGoesAwayLeavesNothingRunning() {
        test::VirtualDisplay display;
        platform::X11Connection connection(display.name());
        platform::X11HotKeyEvents events(connection);
        int losses = 0;
        QObject::connect(&connection, &platform::X11Connection::lost, [&] { ++losses; });
        std::optional<platform::HotKeyReference> hotKey;
        events.registerEventHotKey(49, AppHotKey::controlKey, {0, 1}, 0, hotKey);
        display.server().stop();
        QTRY_COMPARE(losses, 1);
        std::optional<platform::HotKeyReference> another;
        QVERIFY(events.registerEventHotKey(40, AppHotKey::controlKey, {0, 1}, 0, another) !=
                HotKeyEvents::noError);
        QCOMPARE(events.unregisterEventHotKey(*hotKey), HotKeyEvents::noError);
        QCoreApplication::processEvents();
        QCOMPARE(losses, 1);
    }

private:
    static QList<quint32> pressAndRelease() {
        return {platform::hotKeyPressedKind, platform::hotKeyReleasedKind};
    }

    HotKeyEvents::Status attemptToRegister() {
        m_hotKey.reset();
        return m_events->registerEventHotKey(AppHotKey::defaultValue.keyCode,
                                             AppHotKey::defaultValue.modifiers, {0, 1}, 0, m_hotKey);
    }
    void registerHotKey() { QCOMPARE(attemptToRegister(), HotKeyEvents::noError); }

    void hold() {
        m_keyboard->press(TestKeyboard::control);
        m_keyboard->press(TestKeyboard::alt);
        m_keyboard->press(TestKeyboard::space);
    }
    void tap(xcb_keycode_t key = TestKeyboard::space) {
        m_keyboard->tapWith({TestKeyboard::control, TestKeyboard::alt}, key);
    }

    /// So that no test has to wait for repeats.
    void repeatFast() { m_display.run(u"xset"_qs, {u"r"_qs, u"rate"_qs, u"50"_qs, u"100"_qs}); }

    /// Returns once the grabs suit the layout.
    void useLayout(const QString &layout) {
        m_display.setLayout({layout});
        m_connection->sync();
        QCoreApplication::processEvents();
        m_connection->sync();
    }

    bool tapWorks() {
        m_kinds.clear();
        tap();
        return ChildProcess::waitUntil([this] { return m_kinds == pressAndRelease(); }, 200);
    }

    bool canBeTakenElsewhere(unsigned modifiers) {
        auto *xcb = m_otherProgram->xcb();
        const auto cookie =
            xcb_grab_key_checked(xcb, 0, m_otherProgram->root(), static_cast<uint16_t>(modifiers),
                                 TestKeyboard::space, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        return test::XcbClient::owned(xcb_request_check(xcb, cookie)) == nullptr;
    }

    /// As window managers take their shortcuts.
    bool canBeTakenByInputExtension(unsigned modifiers,
                                    xcb_input_device_id_t device = XCB_INPUT_DEVICE_ALL_MASTER) {
        auto *xcb = m_otherProgram->xcb();
        const uint32_t events = XCB_INPUT_XI_EVENT_MASK_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_KEY_RELEASE;
        const auto cookie = xcb_input_xi_passive_grab_device(
            xcb, XCB_CURRENT_TIME, m_otherProgram->root(), XCB_NONE, TestKeyboard::space, device, 1, 1,
            XCB_INPUT_GRAB_TYPE_KEYCODE, XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_GRAB_MODE_ASYNC,
            XCB_INPUT_GRAB_OWNER_NO_OWNER, &events, &modifiers);
        const auto refusals =
            test::XcbClient::owned(xcb_input_xi_passive_grab_device_reply(xcb, cookie, nullptr));
        return refusals && refusals->num_modifiers == 0;
    }

    /// As screen lockers take the keyboard.
    bool keyboardCanBeTakenElsewhere() {
        auto *xcb = m_otherProgram->xcb();
        const auto answer = test::XcbClient::owned(
            xcb_grab_keyboard_reply(xcb,
                                    xcb_grab_keyboard(xcb, 0, m_otherProgram->root(), XCB_CURRENT_TIME,
                                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                    nullptr));
        xcb_ungrab_keyboard(xcb, XCB_CURRENT_TIME);
        m_otherProgram->sync();
        return answer && answer->status == XCB_GRAB_STATUS_SUCCESS;
    }

    const test::VirtualDisplay m_display;
    std::unique_ptr<platform::X11Connection> m_connection;
    std::unique_ptr<platform::X11HotKeyEvents> m_events;
    std::unique_ptr<TestKeyboard> m_keyboard;
    std::unique_ptr<test::XcbClient> m_otherProgram;
    std::optional<platform::HotKeyReference> m_hotKey;
    QList<quint32> m_kinds;
    int m_pressEvents = 0; ///< repeats included
};

QTEST_GUILESS_MAIN(X11HotKeyTest)
#include "X11HotKeyTest.moc"
