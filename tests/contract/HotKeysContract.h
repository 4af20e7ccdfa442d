#pragma once

#include "contract/Subjects.h"
#include "hotkey/AppHotKey.h"
#include "platform/HotKeys.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A keyboard, the program under test that asks for hotkeys, and another program that has some.
class HotKeysHarness {
public:
    virtual ~HotKeysHarness() = default;

    virtual platform::HotKeys &hotKeys() = 0;

    /// The user's hands. The modifiers go down before the key, and up after it.
    virtual void keyDown(const AppHotKey &combination) = 0;
    virtual void keyUp(const AppHotKey &combination) = 0;

    /// Another program takes the combination for itself, and gives it back.
    virtual void takeElsewhere(const AppHotKey &combination) = 0;
    virtual void giveBackElsewhere(const AppHotKey &combination) = 0;

    /// Returns once everything that happened so far has been delivered.
    virtual void settle() = 0;
};

/// What every implementation of HotKeys does.
class HotKeysContract : public QObject {
    Q_OBJECT

public:
    explicit HotKeysContract(Subjects<HotKeysHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_events.clear();
        m_outcomes.clear();
        m_harness = m_subjects.harness();
    }
    void cleanup() {
        m_hotKey.reset();
        m_harness.reset();
    }

    void pressAndReleaseComeOnceEachAndInOrder() {
        takeIt();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void theReleaseComesWhenTheKeyGoesUp() {
        takeIt();
        m_harness->keyDown(combination);
        m_harness->settle();
        QCOMPARE(m_events, QStringList{pressed});
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_events, pressAndRelease());
    }

    void everyPressCounts() {
        takeIt();
        tap(combination);
        tap(combination);
        QCOMPARE(m_events, pressAndRelease() + pressAndRelease());
    }

    void otherModifiersAreAnotherCombination() {
        takeIt();
        tap({combination.keyCode, AppHotKey::controlKey});
        tap({combination.keyCode, combination.modifiers | AppHotKey::shiftKey});
        QVERIFY(m_events.isEmpty());
    }

    void anotherKeyIsAnotherCombination() {
        takeIt();
        tap({combination.keyCode + 1, combination.modifiers});
        QVERIFY(m_events.isEmpty());
    }

    void unknownModifierBitsMeanNothing() {
        constexpr quint32 alphaLock = 0x0400;
        m_hotKey = attempt({combination.keyCode, combination.modifiers | alphaLock});
        QVERIFY(m_hotKey);
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void eachCombinationTellsItsOwnListener() {
        takeIt();
        int otherPresses = 0;
        const auto other =
            m_harness->hotKeys().take({combination.keyCode, combination.modifiers | AppHotKey::shiftKey},
                                      {.pressed = [&] { ++otherPresses; }});
        QVERIFY(other);
        tap({combination.keyCode, combination.modifiers | AppHotKey::shiftKey});
        QCOMPARE(otherPresses, 1);
        QVERIFY(m_events.isEmpty());
        tap(combination);
        QCOMPARE(otherPresses, 1);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aKeyIsNotTakenFromTheWholeDesktop_data() {
        QTest::addColumn<quint32>("modifiers");
        QTest::newRow("no modifier") << 0u;
        QTest::newRow("Shift alone") << quint32{AppHotKey::shiftKey};
        QTest::newRow("bits without a meaning") << 0x0400u;
    }
    void aKeyIsNotTakenFromTheWholeDesktop() {
        QFETCH(quint32, modifiers);
        QVERIFY(!attempt({combination.keyCode, modifiers}));
    }

    void theKeyOfAModifierIsRefused() {
        constexpr quint32 leftShift = 56;
        QVERIFY(!attempt({leftShift, AppHotKey::optionKey}));
    }

    void givingBackAHotKeyThatIsDownDeliversItsReleaseFirst() {
        takeIt();
        m_harness->keyDown(combination);
        m_harness->settle();
        m_hotKey.reset();
        QCOMPARE(m_events, pressAndRelease());
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_events, pressAndRelease());
    }

    void givingBackAHotKeyWhosePressDidNotCountDeliversNothing() {
        m_harness->keyDown(combination);
        takeIt();
        m_harness->settle();
        m_hotKey.reset();
        QVERIFY(m_events.isEmpty());
        m_harness->keyUp(combination);
    }

    void aHotKeyThatIsTakenAgainWhileItIsDownIsOver() {
        takeIt();
        m_harness->keyDown(combination);
        m_harness->settle();
        m_hotKey.reset();
        takeIt();
        m_harness->settle();
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_events, pressAndRelease());
    }

    void aCombinationThatWasGivenBackGivesNoEvents() {
        takeIt();
        m_hotKey.reset();
        tap(combination);
        QVERIFY(m_events.isEmpty());
    }

    void aCombinationTakenElsewhereIsRefused() {
        m_harness->takeElsewhere(combination);
        QVERIFY(!attempt(combination));
    }

    void aCombinationThatIsTakenIsRefused() {
        takeIt();
        QVERIFY(!attempt(combination));
    }

    void aCombinationCanBeTakenAgainOnceItIsGivenBack() {
        takeIt();
        m_hotKey.reset();
        takeIt();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aKeyThatIsDownAlreadyGivesNoEventsUntilItHasGoneUp() {
        m_harness->keyDown(combination);
        takeIt();
        m_harness->settle();
        m_harness->keyUp(combination);
        m_harness->settle();
        QVERIFY(m_events.isEmpty());
        QVERIFY(ChildProcess::waitUntil([this] { return tapWorks(); }));
    }

    void aSuspendedHotKeyGivesNoEvents() {
        takeIt();
        const auto suspension = m_harness->hotKeys().suspend();
        tap(combination);
        QVERIFY(m_events.isEmpty());
    }

    void afterASuspensionTheHotKeyGivesEventsAgain() {
        takeIt();
        m_harness->hotKeys().suspend().reset();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void suspensionsThatOverlapAreOneUntilTheLastOfThemEnds() {
        takeIt();
        auto first = m_harness->hotKeys().suspend();
        auto second = m_harness->hotKeys().suspend();
        first.reset();
        tap(combination);
        QVERIFY(m_events.isEmpty());
        second.reset();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aKeyThatIsStillDownAtTheEndOfASuspensionGivesNoEvents() {
        takeIt();
        auto suspension = m_harness->hotKeys().suspend();
        m_harness->keyDown(combination);
        m_harness->settle();
        suspension.reset();
        m_harness->keyUp(combination);
        m_harness->settle();
        QVERIFY(m_events.isEmpty());
        QVERIFY(ChildProcess::waitUntil([this] { return tapWorks(); }));
    }

    void aPressBeforeTheSuspensionStillGetsItsRelease() {
        takeIt();
        m_harness->keyDown(combination);
        m_harness->settle();
        const auto suspension = m_harness->hotKeys().suspend();
        m_harness->keyUp(combination);
        QVERIFY(ChildProcess::waitUntil([this] { return m_events == pressAndRelease(); }));
    }

    void aCombinationTakenDuringASuspensionComesIntoForceAfterIt() {
        auto suspension = m_harness->hotKeys().suspend();
        takeIt();
        tap(combination);
        QVERIFY(m_events.isEmpty());
        suspension.reset();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aCombinationTakenElsewhereIsRefusedDuringASuspensionToo() {
        m_harness->takeElsewhere(combination);
        const auto suspension = m_harness->hotKeys().suspend();
        QVERIFY(!attempt(combination));
    }

    void aListenerMayGiveBackTheHotKeyThatItIsToldOf() {
        int presses = 0;
        m_hotKey = m_harness->hotKeys().take({combination.keyCode, combination.modifiers},
                                             {.pressed = [this, &presses] {
                                                 ++presses;
                                                 m_hotKey.reset();
                                                 m_events += pressed; // what the call has is still there
                                             }});
        tap(combination);
        tap(combination);
        QCOMPARE(presses, 1);
        QCOMPARE(m_events, QStringList{pressed});
    }

    void aHotKeyThatStaysHasNoOutcome() {
        takeIt();
        m_harness->hotKeys().suspend().reset();
        m_harness->settle();
        QVERIFY(m_outcomes.isEmpty());
    }

    void aHotKeyThatAnotherProgramTookIsLostAndGivesNoEvents() {
        takeIt();
        loseIt();
        QCOMPARE(m_outcomes, QList{outcome(Kind::lost)});
        tap(combination);
        QVERIFY(m_events.isEmpty());
    }

    void anOutcomeIsToldFromTheEventLoop() {
        takeIt();
        auto suspension = m_harness->hotKeys().suspend();
        m_harness->takeElsewhere(combination);
        suspension.reset();
        QVERIFY(m_outcomes.isEmpty());
        m_harness->settle();
        QCOMPARE(m_outcomes.size(), 1);
    }

    void aLossIsToldOnce() {
        takeIt();
        loseIt();
        m_harness->hotKeys().suspend().reset();
        m_harness->settle();
        QCOMPARE(m_outcomes, QList{outcome(Kind::lost)});
    }

    void aHotKeyThatWasLostIsHadAgainOnceTheOtherProgramHasGone() {
        takeIt();
        loseIt();
        m_harness->giveBackElsewhere(combination);
        m_harness->hotKeys().suspend().reset();
        m_harness->settle();
        QCOMPARE(m_outcomes, (QList{outcome(Kind::lost), outcome(Kind::hadAgain)}));
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aHotKeyThatWasLostCanBeTakenAnew() {
        takeIt();
        loseIt();
        m_hotKey.reset();
        QVERIFY(!attempt(combination));
        m_harness->giveBackElsewhere(combination);
        takeIt();
        tap(combination);
        QCOMPARE(m_events, pressAndRelease());
    }

    void aHotKeyThatIsLostWhileItIsDownStillGetsItsRelease() {
        takeIt();
        m_harness->keyDown(combination);
        m_harness->settle();
        loseIt();
        m_harness->keyUp(combination);
        QVERIFY(ChildProcess::waitUntil([this] { return m_events == pressAndRelease(); }));
    }

    void anOutcomeOfAHotKeyThatWasGivenBackIsNotTold() {
        takeIt();
        auto suspension = m_harness->hotKeys().suspend();
        m_harness->takeElsewhere(combination);
        suspension.reset();
        m_hotKey.reset();
        m_harness->settle();
        QVERIFY(m_outcomes.isEmpty());
    }

    void aListenerMayGiveBackTheHotKeyWhoseOutcomeItIsTold() {
        int outcomes = 0;
        m_hotKey = m_harness->hotKeys().take({combination.keyCode, combination.modifiers},
                                             {.outcome = [this, &outcomes](const platform::HotKeyOutcome &) {
                                                 m_hotKey.reset();
                                                 ++outcomes; // what the call has is still there
                                             }});
        loseIt();
        QCOMPARE(outcomes, 1);
    }

private:
    using Kind = platform::HotKeyOutcome::Kind;

    static constexpr AppHotKey combination{40, AppHotKey::cmdKey | AppHotKey::optionKey};
    static inline const QString pressed = u"pressed"_s;
    static inline const QString released = u"released"_s;

    static QStringList pressAndRelease() { return {pressed, released}; }
    static platform::HotKeyOutcome outcome(Kind kind) { return {.kind = kind}; }

    std::unique_ptr<platform::TakenHotKey> attempt(const AppHotKey &wanted) {
        return m_harness->hotKeys().take(
            {wanted.keyCode, wanted.modifiers},
            {.pressed = [this] { m_events += pressed; },
             .released = [this] { m_events += released; },
             .outcome = [this](const platform::HotKeyOutcome &told) { m_outcomes += told; }});
    }

    void takeIt() {
        m_hotKey = attempt(combination);
        QVERIFY(m_hotKey);
    }

    /// Another program takes the combination while nobody holds it.
    void loseIt() {
        auto suspension = m_harness->hotKeys().suspend();
        m_harness->takeElsewhere(combination);
        suspension.reset();
        m_harness->settle();
    }

    void tap(const AppHotKey &key) {
        m_harness->keyDown(key);
        m_harness->settle();
        m_harness->keyUp(key);
        m_harness->settle();
    }

    bool tapWorks() {
        m_events.clear();
        tap(combination);
        return m_events == pressAndRelease();
    }

    std::unique_ptr<HotKeysHarness> m_harness;
    std::unique_ptr<platform::TakenHotKey> m_hotKey;
    QStringList m_events;
    QList<platform::HotKeyOutcome> m_outcomes;
    Subjects<HotKeysHarness> m_subjects;
};

} // namespace quillora::test
