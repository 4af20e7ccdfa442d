#include "hotkey/AppHotKey.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "support/RewritingDisplay.h"
#include "support/TestKeyboard.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>
#include <xcb/xinput.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::HotKeyOutcome;
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
        m_serverEvents = std::make_unique<platform::X11Events>(*m_connection);
        m_hotKeys = std::make_unique<platform::X11HotKeys>(*m_serverEvents);
        m_pressEvents = 0;
        QObject::connect(m_serverEvents.get(), &platform::X11Events::received,
                         [this](const xcb_generic_event_t *event) {
                             m_pressEvents += event->response_type == XCB_KEY_PRESS;
                         });
        m_events.clear();
        m_outcomes.clear();
    }
    void cleanup() {
        m_keyboard->releaseAll();
        m_keyboard->lockModifiers(0);
        m_keyboard->lockGroup(0);
        m_display.setLayout({u"us"_s});
        m_display.run(u"xset"_s, {u"r"_s, u"rate"_s});
        m_suspension.reset();
        m_hotKey.reset();
        m_hotKeys.reset();
        m_serverEvents.reset();
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
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"add mod3 = Scroll_Lock"_s});
        takeHotKey();
        m_keyboard->lockModifiers(locked);
        tap();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aHeldKeyThatRepeatsIsOnePressAndOneRelease() {
        repeatFast();
        takeHotKey();
        hold();
        QTRY_VERIFY(m_pressEvents >= 5);
        QCOMPARE(m_events, QStringList{pressed});
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void modifiersThatGoUpFirstDoNotEndThePress() {
        takeHotKey();
        hold();
        QTRY_COMPARE(m_events, QStringList{pressed});
        m_keyboard->release(TestKeyboard::control);
        m_keyboard->release(TestKeyboard::alt);
        m_connection->sync();
        QCoreApplication::processEvents();
        QCOMPARE(m_events, QStringList{pressed});
        m_keyboard->release(TestKeyboard::space);
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aChangeOfLayoutKeepsTheHotKey() {
        takeHotKey();
        m_display.setLayout({u"us"_s, u"dvorak"_s});
        QTRY_VERIFY(tapWorks());
    }

    void aLetterThatMovesLeavesTheHotKeyWhereItWas() {
        constexpr xcb_keycode_t keyLeftOfX = 52;
        constexpr xcb_keycode_t keyRightOfT = 29;
        constexpr quint32 positionOfZ = 6;
        m_hotKey = attemptToTake({positionOfZ, AppHotKey::defaultValue.modifiers});
        QVERIFY(m_hotKey);
        useLayout(u"de"_s); // has Z where Y was
        tap(keyRightOfT);
        m_connection->sync();
        QCoreApplication::processEvents();
        QVERIFY(m_events.isEmpty());
        tap(keyLeftOfX);
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aChangeOfLayoutNeverLeavesTheCombinationToOthers() {
        takeHotKey();
        std::atomic<bool> isOver = false;
        bool wasFree = false;
        std::thread greedyProgram([&] {
            while (!isOver && !wasFree)
                wasFree = canBeTakenElsewhere(controlAndAlt);
        });
        for (int change = 0; change < 10; ++change) {
            useLayout(u"de"_s);
            useLayout(u"us"_s);
        }
        isOver = true;
        greedyProgram.join();
        QVERIFY(!wasFree);
    }

    void aLockThatMovesAwayLeavesItsModifierToOthers() {
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"add mod3 = Scroll_Lock"_s});
        takeHotKey();
        QVERIFY(!canBeTakenElsewhere(controlAndAlt | scrollLockModifier));
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"clear mod3"_s});
        QTRY_VERIFY(canBeTakenElsewhere(controlAndAlt | scrollLockModifier));
    }

    void aLockThatMovesToAnotherModifierStillDoesNotMatter() {
        takeHotKey();
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"add mod3 = Scroll_Lock"_s});
        m_keyboard->lockModifiers(scrollLockModifier);
        QTRY_VERIFY(tapWorks());
    }

    void aChangeOfLayoutDuringThePressKeepsTheRelease() {
        takeHotKey();
        hold();
        QTRY_COMPARE(m_events, QStringList{pressed});
        m_display.setLayout({u"de"_s});
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void theSecondLayoutOfTwoHasTheHotKeyToo() {
        m_display.setLayout({u"us,ru"_s});
        m_keyboard->lockGroup(1);
        takeHotKey();
        tap();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aCombinationTakenInOneLockVariantIsRefusedAsAWhole() {
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(!attemptToTake());
        // Nothing of the refused registration may be left behind.
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_2));
    }

    void aHotKeyThatAChangeOfLayoutLeavesToAnotherProgramIsLostWithoutBeingAskedForAgain() {
        takeHotKey();
        loseHotKeyToAChangeOfLayout();
        QCOMPARE(m_outcomes, QList{HotKeyOutcome{HotKeyOutcome::Kind::lost}});
        // Nothing of what was lost is kept from others, nor taken again without an occasion.
        giveBackElsewhere(controlAndAlt | scrollLockModifier);
        QVERIFY(!tapWorks());
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
    }

    void aHotKeyThatWasLostIsHadAgainByTheNextChangeOfLayoutThatAllowsIt() {
        takeHotKey();
        loseHotKeyToAChangeOfLayout();
        giveBackElsewhere(controlAndAlt | scrollLockModifier);
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"clear mod3"_s});
        QTRY_COMPARE(m_outcomes, (QList{HotKeyOutcome{HotKeyOutcome::Kind::lost},
                                        HotKeyOutcome{HotKeyOutcome::Kind::hadAgain}}));
        QVERIFY(tapWorks());
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
        QVERIFY(!attemptToTake());
        // Nothing of the refused registration may be left behind.
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
        QVERIFY(canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_2));
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_2, device));
    }

    void aCombinationTakenThroughTheInputExtensionInOneLockVariantIsRefused() {
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK));
        QVERIFY(!attemptToTake());
        QVERIFY(canBeTakenByInputExtension(controlAndAlt));
    }

    void aRegisteredCombinationCannotBeTakenThroughTheInputExtension() {
        takeHotKey();
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt));
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt, coreKeyboard));
        QVERIFY(!canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
        tap();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void whatIsGivenBackCanBeTakenThroughTheInputExtension_data() {
        using GiveBack = std::function<void(X11HotKeyTest &)>;
        QTest::addColumn<GiveBack>("giveBack");
        QTest::newRow("given back") << GiveBack([](X11HotKeyTest &test) { test.m_hotKey.reset(); });
        QTest::newRow("suspended") << GiveBack(
            [](X11HotKeyTest &test) { test.m_suspension = test.m_hotKeys->suspend(); });
    }

    void whatIsGivenBackCanBeTakenThroughTheInputExtension() {
        QFETCH(std::function<void(X11HotKeyTest &)>, giveBack);
        takeHotKey();
        giveBack(*this);
        QVERIFY(canBeTakenByInputExtension(controlAndAlt));
        QVERIFY(canBeTakenByInputExtension(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }

    void aServerWithoutTheInputExtensionHasHotKeys() {
        const test::RewritingDisplay display(m_display.name(), "XInputExtension", "XInputExtensioN");
        platform::X11Connection connection(display.name());
        platform::X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        QVERIFY(hotKeys.take({49, AppHotKey::controlKey}, {}));
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
        platform::X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        QVERIFY(!hotKeys.take({49, AppHotKey::controlKey}, {}));
        QVERIFY(connection.isUsable());
    }

    void aHeldHotKeyTypesNothingEvenIfItsModifiersGoUpFirst() {
        repeatFast();
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        takeHotKey();
        hold();
        m_keyboard->release(TestKeyboard::control);
        m_keyboard->release(TestKeyboard::alt);
        QTRY_VERIFY(m_pressEvents >= 5);
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
        for (const auto &key : window.takeKeys())
            QVERIFY(key.keycode != TestKeyboard::space);
    }

    void theKeyboardIsForOthersAgainAsSoonAsTheKeyIsUp() {
        takeHotKey();
        hold();
        QTRY_COMPARE(m_events, QStringList{pressed});
        QVERIFY(!keyboardCanBeTakenElsewhere());
        m_keyboard->release(TestKeyboard::space);
        QVERIFY(keyboardCanBeTakenElsewhere());
    }

    void aRegisteredCombinationCannotBeTakenElsewhere() {
        takeHotKey();
        QVERIFY(!canBeTakenElsewhere(controlAndAlt));
        QVERIFY(!canBeTakenElsewhere(controlAndAlt | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }

    void aCombinationThatWasGivenBackCanBeTakenElsewhere() {
        takeHotKey();
        m_hotKey.reset();
        QVERIFY(canBeTakenElsewhere(controlAndAlt));
    }

    void aKeyThatNoKeyboardHasIsRefused() { QVERIFY(!attemptToTake({127, AppHotKey::controlKey})); }

    void theReleaseIsNoticedWhenTheGrabIsLost() {
        takeHotKey();
        hold();
        QTRY_COMPARE(m_events, QStringList{pressed});
        m_hotKeys->releaseActiveGrab();
        m_keyboard->releaseAll();
        QTRY_COMPARE(m_events, pressAndRelease());
    }

    void aKeyboardThatIsDisabledLetsGoOfTheHotKey() {
        const QString device = u"Xvfb keyboard"_s;
        const auto number = m_display.run(u"xinput"_s, {u"list"_s, u"--id-only"_s, device}).toUShort();
        TestKeyboard keyboard(m_display.name(), static_cast<uint8_t>(number));
        takeHotKey();
        keyboard.press(TestKeyboard::control);
        keyboard.press(TestKeyboard::alt);
        keyboard.press(TestKeyboard::space);
        QTRY_COMPARE(m_events, QStringList{pressed});
        m_display.run(u"xinput"_s, {u"disable"_s, device});
        const bool isReleased =
            ChildProcess::waitUntil([this] { return m_events == pressAndRelease(); }, 3000);
        const bool isKeyboardFree = keyboardCanBeTakenElsewhere();
        m_display.run(u"xinput"_s, {u"enable"_s, device});
        QVERIFY(isReleased);
        QVERIFY(isKeyboardFree);
    }

    void aSuspendedCombinationReachesTheFocusedWindow() {
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        takeHotKey();
        const auto suspension = m_hotKeys->suspend();
        tap();
        const auto keys = window.takeKeys();
        QCOMPARE(std::ranges::count(keys, TestWindow::Key{TestKeyboard::space, true, controlAndAlt}), 1);
    }

    void aRegisteredCombinationDoesNotReachTheFocusedWindow() {
        TestWindow window(m_display.name(), {});
        window.show();
        window.takeFocus();
        takeHotKey();
        tap();
        for (const auto &key : window.takeKeys())
            QVERIFY(key.keycode != TestKeyboard::space);
    }

    void aServerThatHangsTakesNoHotKeyAway() {
        test::VirtualDisplay display;
        platform::X11Connection connection(display.name());
        platform::X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        const auto hotKey =
            hotKeys.take({49, AppHotKey::controlKey},
                         {.pressed = [this] { m_events += pressed; },
                          .outcome = [this](const HotKeyOutcome &outcome) { m_outcomes += outcome; }});
        display.server().signal(SIGSTOP);
        while (!connection.isSilent())
            connection.sync();
        hotKeys.suspend().reset(); // grabs again
        QCoreApplication::processEvents();
        display.server().signal(SIGCONT);
        TestKeyboard keyboard(display.name());
        QVERIFY(test::ChildProcess::waitUntil([&] {
            keyboard.tapWith({TestKeyboard::control}, TestKeyboard::space);
            return !m_events.isEmpty();
        }));
        QVERIFY(m_outcomes.isEmpty());
    }

    void aServerThatGoesAwayLeavesNothingRunning() {
        test::VirtualDisplay display;
        platform::X11Connection connection(display.name());
        platform::X11Events events(connection);
        platform::X11HotKeys hotKeys(events);
        int losses = 0;
        QObject::connect(&events, &platform::X11Events::lost, [&] { ++losses; });
        auto hotKey =
            hotKeys.take({49, AppHotKey::controlKey},
                         {.outcome = [this](const HotKeyOutcome &outcome) { m_outcomes += outcome; }});
        display.server().stop();
        QTRY_COMPARE(losses, 1);
        QVERIFY(!hotKeys.take({40, AppHotKey::controlKey}, {}));
        hotKeys.suspend().reset();
        QCoreApplication::processEvents();
        QVERIFY(m_outcomes.isEmpty()); // nobody else has it
        hotKey.reset();
        QCoreApplication::processEvents();
        QCOMPARE(losses, 1);
    }

private:
    static inline const QString pressed = u"pressed"_s;
    static inline const QString released = u"released"_s;

    static QStringList pressAndRelease() { return {pressed, released}; }

    std::unique_ptr<platform::TakenHotKey> attemptToTake(const AppHotKey &wanted = AppHotKey::defaultValue) {
        return m_hotKeys->take({wanted.keyCode, wanted.modifiers},
                               {.pressed = [this] { m_events += pressed; },
                                .released = [this] { m_events += released; },
                                .outcome = [this](const HotKeyOutcome &told) { m_outcomes += told; }});
    }
    void takeHotKey() {
        m_hotKey = attemptToTake();
        QVERIFY(m_hotKey);
    }

    /// With one modifier more for a lock there is one state of the locks more to have, and that is taken.
    void loseHotKeyToAChangeOfLayout() {
        QVERIFY(canBeTakenElsewhere(controlAndAlt | scrollLockModifier));
        m_display.run(u"xmodmap"_s, {u"-e"_s, u"add mod3 = Scroll_Lock"_s});
        QTRY_VERIFY(!m_outcomes.isEmpty());
    }

    void hold() {
        m_keyboard->press(TestKeyboard::control);
        m_keyboard->press(TestKeyboard::alt);
        m_keyboard->press(TestKeyboard::space);
    }
    void tap(xcb_keycode_t key = TestKeyboard::space) {
        m_keyboard->tapWith({TestKeyboard::control, TestKeyboard::alt}, key);
    }

    /// So that no test has to wait for repeats.
    void repeatFast() { m_display.run(u"xset"_s, {u"r"_s, u"rate"_s, u"50"_s, u"100"_s}); }

    /// Returns once the grabs suit the layout.
    void useLayout(const QString &layout) {
        m_display.setLayout({layout});
        m_connection->sync();
        QCoreApplication::processEvents();
        m_connection->sync();
    }

    bool tapWorks() {
        m_events.clear();
        tap();
        return ChildProcess::waitUntil([this] { return m_events == pressAndRelease(); }, 200);
    }

    bool canBeTakenElsewhere(unsigned modifiers) {
        auto *xcb = m_otherProgram->xcb();
        const auto cookie =
            xcb_grab_key_checked(xcb, 0, m_otherProgram->root(), static_cast<uint16_t>(modifiers),
                                 TestKeyboard::space, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        return test::XcbClient::owned(xcb_request_check(xcb, cookie)) == nullptr;
    }

    void giveBackElsewhere(unsigned modifiers) {
        xcb_ungrab_key(m_otherProgram->xcb(), TestKeyboard::space, m_otherProgram->root(),
                       static_cast<uint16_t>(modifiers));
        m_otherProgram->sync();
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
    std::unique_ptr<platform::X11Events> m_serverEvents;
    std::unique_ptr<platform::X11HotKeys> m_hotKeys;
    std::unique_ptr<TestKeyboard> m_keyboard;
    std::unique_ptr<test::XcbClient> m_otherProgram;
    std::unique_ptr<platform::TakenHotKey> m_hotKey;
    std::unique_ptr<platform::HotKeySuspension> m_suspension;
    QStringList m_events;
    QList<HotKeyOutcome> m_outcomes;
    int m_pressEvents = 0; ///< repeats included
};

QTEST_GUILESS_MAIN(X11HotKeyTest)
#include "X11HotKeyTest.moc"
