#include "hotkey/HotKeyManager.h"
#include "fakes/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using Event = HotKeyManager::Event;
using platform::HotKeyOutcome;
using Kind = HotKeyOutcome::Kind;

namespace {

const AppHotKey superK{40, AppHotKey::cmdKey};
constexpr platform::KeyCombination defaultCombination{49, 0x1800};

} // namespace

class HotKeyManagerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_events.clear();
        m_outcomes.clear();
        m_manager =
            std::make_unique<HotKeyManager>([this](Event event) { m_events += event; },
                                            [this](const AppHotKey &hotKey, const HotKeyOutcome &outcome) {
                                                m_outcomes += {hotKey, outcome};
                                            });
    }
    void cleanup() {
        m_manager.reset();
        m_platform.reset();
    }

    void nothingIsTakenBeforeTheFirstRegistration() { QVERIFY(m_platform->log.calls().isEmpty()); }

    void registrationTakesTheCombination() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        QCOMPARE(m_platform->log.calls(), QStringList{u"hotkeys.take 49:6144"_s});
    }

    void bothNumbersArePassedOnAsTheyStand() {
        QVERIFY(m_manager->registerHotKey({4294967295u, 0xFFFFFFFFu}));
        QCOMPARE(m_platform->log.calls().last(), u"hotkeys.take 4294967295:4294967295"_s);
    }

    void registeringTwiceSucceedsTwiceAndLeavesOne() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        m_platform->log.clear();
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        QCOMPARE(m_platform->log.calls(), (QStringList{u"hotkeys.giveBack"_s, u"hotkeys.take 49:6144"_s}));
        QCOMPARE(m_platform->hotKeysFake.taken.size(), 1u);
    }

    void nothingStaysTakenAfterAFailedRegistration() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        m_platform->hotKeysFake.takenElsewhere.insert({superK.keyCode, superK.modifiers});
        m_platform->log.clear();
        QVERIFY(!m_manager->registerHotKey(superK));
        QCOMPARE(m_platform->log.calls(), (QStringList{u"hotkeys.giveBack"_s, u"hotkeys.take 40:256"_s}));
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void aFailedRegistrationFailsAsAWhole() {
        m_platform->hotKeysFake.takenElsewhere.insert({superK.keyCode, superK.modifiers});
        QVERIFY(!m_manager->registerHotKey(superK));
        m_platform->hotKeysFake.keyDown(superK.keyCode, superK.modifiers);
        m_platform->hotKeysFake.keyUp(superK.keyCode);
        QVERIFY(m_events.isEmpty());
        m_manager->unregister();
        QVERIFY(!m_platform->log.calls().contains(u"hotkeys.giveBack"_s));
    }

    void pressAndReleaseComeOnceEachAndInOrder() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.press();
        m_platform->hotKeysFake.release();
        QCOMPARE(m_events, (QList{Event::pressed, Event::released}));
    }

    void aPressOfSomethingThatIsNotOurHotKeyCallsNothing() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.keyDown(superK.keyCode, superK.modifiers);
        m_platform->hotKeysFake.keyUp(superK.keyCode);
        QVERIFY(m_events.isEmpty());
    }

    void aPressOfAHotKeyThatSomebodyElseTookThroughTheSamePlatformCallsNothing() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        int foreignPresses = 0;
        const auto foreign = m_platform->hotKeysFake.take({superK.keyCode, superK.modifiers},
                                                          {.pressed = [&] { ++foreignPresses; }});
        m_platform->hotKeysFake.keyDown(superK.keyCode, superK.modifiers);
        QCOMPARE(foreignPresses, 1);
        QVERIFY(m_events.isEmpty());
    }

    void unregisteringNothingDoesNothing() {
        m_manager->unregister();
        QVERIFY(m_platform->log.calls().isEmpty());
    }

    void unregisteringGivesTheCombinationBackOnce() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->log.clear();
        m_manager->unregister();
        m_manager->unregister();
        QCOMPARE(m_platform->log.calls(), QStringList{u"hotkeys.giveBack"_s});
    }

    void destructionGivesItBackAsUnregisteringDoes() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->log.clear();
        m_manager.reset();
        QCOMPARE(m_platform->log.calls(), QStringList{u"hotkeys.giveBack"_s});
    }

    void replacingAHotKeyThatIsDownDeliversItsReleaseFirst() {
        QStringList callsBeforeTheRelease;
        m_manager = std::make_unique<HotKeyManager>([&](Event event) {
            m_events += event;
            callsBeforeTheRelease = m_platform->log.calls();
        });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.press();
        m_platform->log.clear();
        QVERIFY(m_manager->registerHotKey(superK));
        QCOMPARE(m_events, (QList{Event::pressed, Event::released}));
        QCOMPARE(callsBeforeTheRelease, QStringList{u"hotkeys.giveBack"_s});
    }

    void aHandlerMayEndItsManagerWhileThatUnregisters() {
        m_manager = std::make_unique<HotKeyManager>([this](Event event) {
            if (event == Event::released)
                m_manager.reset();
        });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.press();
        m_manager->unregister();
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void aHandlerMayEndItsManager() {
        m_manager = std::make_unique<HotKeyManager>([this](Event) { m_manager.reset(); });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.press();
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void anOutcomeComesWithItsHotKey_data() {
        QTest::addColumn<HotKeyOutcome>("outcome");
        QTest::newRow("refused") << HotKeyOutcome{Kind::refused};
        QTest::newRow("lost") << HotKeyOutcome{Kind::lost};
        QTest::newRow("bound elsewhere") << HotKeyOutcome{Kind::boundElsewhere, u"Meta+K"_s};
        QTest::newRow("had again") << HotKeyOutcome{Kind::hadAgain};
    }
    void anOutcomeComesWithItsHotKey() {
        QFETCH(HotKeyOutcome, outcome);
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, outcome);
        QVERIFY(m_outcomes.isEmpty());
        m_platform->run();
        QCOMPARE(m_outcomes, (QList{std::pair(AppHotKey::defaultValue, outcome)}));
    }

    void anOutcomeOfAHotKeyThatIsNoLongerRegisteredIsNotTold() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::refused});
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->run();
        QVERIFY(m_outcomes.isEmpty());
    }

    void aRefusedHotKeyIsNotRegisteredAnyMore() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::refused});
        m_platform->run();
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void aLostHotKeyStaysRegisteredAndMayBeHadAgain() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::lost});
        m_platform->run();
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::hadAgain});
        m_platform->run();
        QCOMPARE(m_outcomes.size(), 2);
    }

    void anOutcomeHandlerMayRegisterAnother() {
        m_manager = std::make_unique<HotKeyManager>(
            [](Event) {},
            [this](const AppHotKey &, const HotKeyOutcome &) { m_manager->registerHotKey(superK); });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::refused});
        m_platform->run();
        QCOMPARE(m_platform->hotKeysFake.combination(), (platform::KeyCombination{40, 0x100}));
    }

    void aManagerThatIsToldNothingOfOutcomesKeepsItsHotKey() {
        m_manager = std::make_unique<HotKeyManager>([this](Event event) { m_events += event; });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::lost});
        m_platform->run();
        m_platform->hotKeysFake.decide(defaultCombination, {Kind::hadAgain});
        m_platform->run();
        m_platform->hotKeysFake.press();
        QCOMPARE(m_events, QList{Event::pressed});
    }

private:
    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<HotKeyManager> m_manager;
    QList<Event> m_events;
    QList<std::pair<AppHotKey, HotKeyOutcome>> m_outcomes;
};

QTEST_GUILESS_MAIN(HotKeyManagerTest)
#include "HotKeyManagerTest.moc"
