#pragma once

#include "hotkey/AppHotKey.h"
#include "platform/HotKeyEvents.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// A keyboard, the program under test that asks for hotkeys, and another program that has some.
class HotKeyEventsHarness {
public:
    virtual ~HotKeyEventsHarness() = default;

    virtual platform::HotKeyEvents &events() = 0;

    /// The user's hands. The modifiers go down before the key, and up after it.
    virtual void keyDown(const AppHotKey &combination) = 0;
    virtual void keyUp(const AppHotKey &combination) = 0;

    /// Another program takes the combination for itself.
    virtual void takeElsewhere(const AppHotKey &combination) = 0;

    /// Returns once everything that happened so far has been delivered.
    virtual void settle() = 0;
};

/// What every implementation of HotKeyEvents does.
class HotKeyEventsContract : public QObject {
    Q_OBJECT

public:
    using MakeHarness = std::function<std::unique_ptr<HotKeyEventsHarness>()>;

    explicit HotKeyEventsContract(MakeHarness makeHarness) : m_makeHarness(std::move(makeHarness)) {}

private Q_SLOTS:
    void init() {
        m_kinds.clear();
        m_identifiers.clear();
        m_handler.reset();
        m_hotKey.reset();
        m_harness = m_makeHarness();
        QCOMPARE(install({platform::hotKeyPressedKind, platform::hotKeyReleasedKind}, m_handler),
                 platform::HotKeyEvents::noError);
    }
    void cleanup() { m_harness.reset(); }

    void pressAndReleaseComeOnceEachAndInOrder() {
        registerIt(combination);
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void theIdentifierComesWithEveryEvent() {
        registerIt(combination);
        tap(combination);
        QCOMPARE(m_identifiers, (QList{identifier, identifier}));
    }

    void theReleaseComesWhenTheKeyGoesUp() {
        registerIt(combination);
        m_harness->keyDown(combination);
        m_harness->settle();
        QCOMPARE(m_kinds, QList{platform::hotKeyPressedKind});
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void everyPressCounts() {
        registerIt(combination);
        tap(combination);
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease() + pressAndRelease());
    }

    void otherModifiersAreAnotherCombination() {
        registerIt(combination);
        tap({combination.keyCode, AppHotKey::controlKey});
        tap({combination.keyCode, combination.modifiers | AppHotKey::shiftKey});
        QVERIFY(m_kinds.isEmpty());
    }

    void anotherKeyIsAnotherCombination() {
        registerIt(combination);
        tap({combination.keyCode + 1, combination.modifiers});
        QVERIFY(m_kinds.isEmpty());
    }

    void unknownModifierBitsMeanNothing() {
        constexpr quint32 alphaLock = 0x0400;
        registerIt({combination.keyCode, combination.modifiers | alphaLock});
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void aHandlerGetsOnlyTheKindsItAskedFor() {
        m_harness->events().removeEventHandler(*m_handler);
        std::optional<platform::EventHandlerReference> handler;
        install({platform::hotKeyReleasedKind}, handler);
        registerIt(combination);
        tap(combination);
        QCOMPARE(m_kinds, QList{platform::hotKeyReleasedKind});
    }

    void aRemovedHandlerGetsNothing() {
        registerIt(combination);
        QCOMPARE(m_harness->events().removeEventHandler(*m_handler), platform::HotKeyEvents::noError);
        tap(combination);
        QVERIFY(m_kinds.isEmpty());
    }

    void aHandlerThatIsNotInstalledCannotBeRemoved() {
        m_harness->events().removeEventHandler(*m_handler);
        QVERIFY(m_harness->events().removeEventHandler(*m_handler) != platform::HotKeyEvents::noError);
    }

    void aKeyIsNotTakenFromTheWholeDesktop_data() {
        QTest::addColumn<quint32>("modifiers");
        QTest::newRow("no modifier") << 0u;
        QTest::newRow("Shift alone") << quint32{AppHotKey::shiftKey};
        QTest::newRow("bits without a meaning") << 0x0400u;
    }

    void aKeyIsNotTakenFromTheWholeDesktop() {
        QFETCH(quint32, modifiers);
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(attempt({combination.keyCode, modifiers}, hotKey) != platform::HotKeyEvents::noError);
        QVERIFY(!hotKey);
    }

    void theKeyOfAModifierIsRefused() {
        constexpr quint32 leftShift = 56;
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(attempt({leftShift, AppHotKey::optionKey}, hotKey) != platform::HotKeyEvents::noError);
        QVERIFY(!hotKey);
    }

    void unregisteringAHotKeyThatIsDownDeliversItsReleaseFirst() {
        registerIt(combination);
        m_harness->keyDown(combination);
        m_harness->settle();
        m_harness->events().unregisterEventHotKey(*m_hotKey);
        QCOMPARE(m_kinds, pressAndRelease());
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void unregisteringAHotKeyWhosePressDidNotCountDeliversNothing() {
        m_harness->keyDown(combination);
        registerIt(combination);
        m_harness->settle();
        m_harness->events().unregisterEventHotKey(*m_hotKey);
        QVERIFY(m_kinds.isEmpty());
        m_harness->keyUp(combination);
    }

    void aHotKeyThatIsRegisteredAgainWhileItIsDownIsOver() {
        registerIt(combination);
        m_harness->keyDown(combination);
        m_harness->settle();
        m_harness->events().unregisterEventHotKey(*m_hotKey);
        registerIt(combination);
        m_harness->settle();
        m_harness->keyUp(combination);
        m_harness->settle();
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void anUnregisteredCombinationGivesNoEvents() {
        registerIt(combination);
        QCOMPARE(m_harness->events().unregisterEventHotKey(*m_hotKey), platform::HotKeyEvents::noError);
        tap(combination);
        QVERIFY(m_kinds.isEmpty());
    }

    void aCombinationThatIsNotRegisteredCannotBeUnregistered() {
        registerIt(combination);
        m_harness->events().unregisterEventHotKey(*m_hotKey);
        QVERIFY(m_harness->events().unregisterEventHotKey(*m_hotKey) != platform::HotKeyEvents::noError);
    }

    void aCombinationTakenElsewhereIsRefused() {
        m_harness->takeElsewhere(combination);
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(attempt(combination, hotKey) != platform::HotKeyEvents::noError);
        QVERIFY(!hotKey);
    }

    void aCombinationThatIsRegisteredIsRefused() {
        registerIt(combination);
        std::optional<platform::HotKeyReference> second;
        QVERIFY(attempt(combination, second) != platform::HotKeyEvents::noError);
        QVERIFY(!second);
    }

    void aCombinationCanBeRegisteredAgainOnceItIsGivenBack() {
        registerIt(combination);
        m_harness->events().unregisterEventHotKey(*m_hotKey);
        registerIt(combination);
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void aKeyThatIsDownAlreadyGivesNoEventsUntilItHasGoneUp() {
        m_harness->keyDown(combination);
        registerIt(combination);
        m_harness->settle();
        m_harness->keyUp(combination);
        m_harness->settle();
        QVERIFY(m_kinds.isEmpty());
        QVERIFY(ChildProcess::waitUntil([this] { return tapWorks(); }));
    }

    void aSuspendedHotKeyGivesNoEvents() {
        registerIt(combination);
        m_harness->events().suspend();
        tap(combination);
        QVERIFY(m_kinds.isEmpty());
    }

    void aResumedHotKeyGivesEventsAgain() {
        registerIt(combination);
        m_harness->events().suspend();
        m_harness->events().resume();
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void aKeyThatIsStillDownAtTheResumptionGivesNoEvents() {
        registerIt(combination);
        m_harness->events().suspend();
        m_harness->keyDown(combination);
        m_harness->settle();
        m_harness->events().resume();
        m_harness->keyUp(combination);
        m_harness->settle();
        QVERIFY(m_kinds.isEmpty());
        QVERIFY(ChildProcess::waitUntil([this] { return tapWorks(); }));
    }

    void aPressBeforeTheSuspensionStillGetsItsRelease() {
        registerIt(combination);
        m_harness->keyDown(combination);
        m_harness->settle();
        m_harness->events().suspend();
        m_harness->keyUp(combination);
        QVERIFY(ChildProcess::waitUntil([this] { return m_kinds == pressAndRelease(); }));
    }

    void aCombinationRegisteredDuringTheSuspensionComesIntoForceAfterIt() {
        m_harness->events().suspend();
        registerIt(combination);
        tap(combination);
        QVERIFY(m_kinds.isEmpty());
        m_harness->events().resume();
        tap(combination);
        QCOMPARE(m_kinds, pressAndRelease());
    }

    void aCombinationTakenElsewhereIsRefusedDuringTheSuspensionToo() {
        m_harness->takeElsewhere(combination);
        m_harness->events().suspend();
        std::optional<platform::HotKeyReference> hotKey;
        QVERIFY(attempt(combination, hotKey) != platform::HotKeyEvents::noError);
    }

    void aHandlerMayUnregisterTheHotKeyThatItIsToldOf() {
        std::optional<platform::EventHandlerReference> handler;
        m_harness->events().installEventHandler(
            [this](const platform::HotKeyEvent *) {
                return m_harness->events().unregisterEventHotKey(*m_hotKey);
            },
            {{platform::keyboardEventClass, platform::hotKeyPressedKind}}, handler);
        registerIt(combination);
        tap(combination);
        tap(combination);
        QCOMPARE(m_kinds.count(platform::hotKeyPressedKind), 1);
    }

private:
    static constexpr AppHotKey combination{40, AppHotKey::cmdKey | AppHotKey::optionKey};
    static constexpr platform::HotKeyIdentifier identifier{platform::fourCharacterCode("TEST"), 7};

    static QList<quint32> pressAndRelease() {
        return {platform::hotKeyPressedKind, platform::hotKeyReleasedKind};
    }

    platform::HotKeyEvents::Status install(const QList<quint32> &kinds,
                                           std::optional<platform::EventHandlerReference> &out) {
        std::vector<platform::EventTypeSpecification> types;
        for (const auto kind : kinds)
            types.push_back({platform::keyboardEventClass, kind});
        return m_harness->events().installEventHandler(
            [this](const platform::HotKeyEvent *event) {
                m_kinds += event->kind;
                m_identifiers += event->directObject.value_or(platform::HotKeyIdentifier{});
                return platform::HotKeyEvents::noError;
            },
            types, out);
    }

    platform::HotKeyEvents::Status attempt(const AppHotKey &wanted,
                                           std::optional<platform::HotKeyReference> &out) {
        return m_harness->events().registerEventHotKey(wanted.keyCode, wanted.modifiers, identifier, 0, out);
    }

    void registerIt(const AppHotKey &wanted) {
        QCOMPARE(attempt(wanted, m_hotKey), platform::HotKeyEvents::noError);
        QVERIFY(m_hotKey.value_or(0) != 0);
    }

    void tap(const AppHotKey &pressed) {
        m_harness->keyDown(pressed);
        m_harness->settle();
        m_harness->keyUp(pressed);
        m_harness->settle();
    }

    bool tapWorks() {
        m_kinds.clear();
        tap(combination);
        return m_kinds == pressAndRelease();
    }

    MakeHarness m_makeHarness;
    std::unique_ptr<HotKeyEventsHarness> m_harness;
    std::optional<platform::EventHandlerReference> m_handler;
    std::optional<platform::HotKeyReference> m_hotKey;
    QList<quint32> m_kinds;
    QList<platform::HotKeyIdentifier> m_identifiers;
};

} // namespace quillora::test
