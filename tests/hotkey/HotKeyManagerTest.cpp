#include "hotkey/HotKeyManager.h"
#include "fakes/FakePlatform.h"

#include <QTest>

using namespace quillora;
using quillora::platform::HotKeyEvent;
using quillora::platform::HotKeyEvents;
using Event = HotKeyManager::Event;

namespace {
const AppHotKey superK{40, AppHotKey::cmdKey};
}

class HotKeyManagerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_events.clear();
        m_manager = std::make_unique<HotKeyManager>([this](Event event) { m_events += event; });
    }
    void cleanup() {
        m_manager.reset();
        m_platform.reset();
    }

    void registrationInstallsTheHandlerAndThenTakesTheCombination() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        // 0x514c5241 is QLRA.
        QCOMPARE(m_platform->log.calls(), (QStringList{u"hotkeys.install 5 6"_qs,
                                                       u"hotkeys.register 49:6144 514c5241/1 options=0"_qs}));
    }

    void bothNumbersArePassedOnAsTheyStand() {
        QVERIFY(m_manager->registerHotKey({4294967295u, 0xFFFFFFFFu}));
        QCOMPARE(m_platform->log.calls().last(),
                 u"hotkeys.register 4294967295:4294967295 514c5241/1 options=0"_qs);
    }

    void registeringTwiceSucceedsTwiceAndLeavesOneOfEach() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        m_platform->log.clear();
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"hotkeys.unregister"_qs, u"hotkeys.remove"_qs, u"hotkeys.install 5 6"_qs,
                              u"hotkeys.register 49:6144 514c5241/1 options=0"_qs}));
        QCOMPARE(m_platform->hotKeys.handlers.size(), 1u);
        QCOMPARE(m_platform->hotKeys.hotKeys.size(), 1u);
    }

    void aFailedRegistrationAfterASuccessfulOneLeavesNothing() {
        QVERIFY(m_manager->registerHotKey(AppHotKey::defaultValue));
        m_platform->hotKeys.takenElsewhere.insert({superK.keyCode, superK.modifiers});
        m_platform->log.clear();
        QVERIFY(!m_manager->registerHotKey(superK));
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"hotkeys.unregister"_qs, u"hotkeys.remove"_qs, u"hotkeys.install 5 6"_qs,
                              u"hotkeys.register 40:256 514c5241/1 options=0"_qs, u"hotkeys.remove"_qs}));
        QVERIFY(m_platform->hotKeys.handlers.empty());
        QVERIFY(m_platform->hotKeys.hotKeys.empty());
    }

    void aRefusedHandlerEndsTheRegistrationBeforeTheHotKey() {
        m_platform->hotKeys.refusesHandlers = true;
        QVERIFY(!m_manager->registerHotKey(AppHotKey::defaultValue));
        QCOMPARE(m_platform->log.calls(), QStringList{u"hotkeys.install 5 6"_qs});
    }

    void pressAndReleaseComeOnceEachAndInOrder() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeys.press();
        m_platform->hotKeys.release();
        QCOMPARE(m_events, (QList{Event::pressed, Event::released}));
    }

    void aForeignSignatureIsDeliveredAllTheSame() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        const HotKeyEvent event{platform::hotKeyPressedKind, platform::HotKeyIdentifier{0, 1}};
        QCOMPARE(m_platform->hotKeys.send(&event), HotKeyEvents::noError);
        QCOMPARE(m_events, QList{Event::pressed});
    }

    void anotherNumberIsSwallowed() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        const HotKeyEvent event{platform::hotKeyPressedKind,
                                platform::HotKeyIdentifier{platform::fourCharacterCode("QLRA"), 2}};
        QCOMPARE(m_platform->hotKeys.send(&event), HotKeyEvents::noError);
        QVERIFY(m_events.isEmpty());
    }

    void anUnreadableIdentifierIsSwallowed() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        const HotKeyEvent event{platform::hotKeyReleasedKind, {}};
        QCOMPARE(m_platform->hotKeys.send(&event), HotKeyEvents::noError);
        QVERIFY(m_events.isEmpty());
    }

    void anUnknownKindAndALostEventAreSwallowed() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        const HotKeyEvent event{7, platform::HotKeyIdentifier{platform::fourCharacterCode("QLRA"), 1}};
        QCOMPARE(m_platform->hotKeys.send(&event), HotKeyEvents::noError);
        QCOMPARE(m_platform->hotKeys.send(nullptr), HotKeyEvents::noError);
        QVERIFY(m_events.isEmpty());
    }

    void unregisteringNothingDoesNothing() {
        m_manager->unregister();
        QVERIFY(m_platform->log.calls().isEmpty());
    }

    void unregisteringReleasesTheHotKeyBeforeTheHandler() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->log.clear();
        m_manager->unregister();
        m_manager->unregister();
        QCOMPARE(m_platform->log.calls(), (QStringList{u"hotkeys.unregister"_qs, u"hotkeys.remove"_qs}));
    }

    void destructionReleasesAsUnregisteringDoes() {
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->log.clear();
        m_manager.reset();
        QCOMPARE(m_platform->log.calls(), (QStringList{u"hotkeys.unregister"_qs, u"hotkeys.remove"_qs}));
    }

    void replacingAHotKeyThatIsDownDeliversItsReleaseFirst() {
        QStringList callsBeforeTheRelease;
        m_manager = std::make_unique<HotKeyManager>([&](Event event) {
            m_events += event;
            callsBeforeTheRelease = m_platform->log.calls();
        });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeys.press();
        m_platform->log.clear();
        QVERIFY(m_manager->registerHotKey(superK));
        QCOMPARE(m_events, (QList{Event::pressed, Event::released}));
        QCOMPARE(callsBeforeTheRelease, QStringList{u"hotkeys.unregister"_qs});
    }

    void aHandlerMayEndItsManagerWhileThatUnregisters() {
        m_manager = std::make_unique<HotKeyManager>([this](Event event) {
            if (event == Event::released)
                m_manager.reset();
        });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeys.press();
        m_manager->unregister();
        QVERIFY(m_platform->hotKeys.hotKeys.empty());
        QVERIFY(m_platform->hotKeys.handlers.empty());
    }

    void aHandlerMayEndItsManager() {
        m_manager = std::make_unique<HotKeyManager>([this](Event) { m_manager.reset(); });
        m_manager->registerHotKey(AppHotKey::defaultValue);
        m_platform->hotKeys.press();
        QVERIFY(m_platform->hotKeys.handlers.empty());
    }

private:
    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<HotKeyManager> m_manager;
    QList<Event> m_events;
};

QTEST_GUILESS_MAIN(HotKeyManagerTest)
#include "HotKeyManagerTest.moc"
