#include "platform/linux/keyring/SecretServiceAvailability.h"

#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QTest>
#include <QThread>

using namespace quillora::test;
using quillora::platform::KeychainStatus;
using quillora::platform::SecretServiceAvailability;
using quillora::platform::SecretServiceKeychain;

/// What tells that the keyring may be read again.
class SecretServiceAvailabilityTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_bus.install(); }
    void aServiceThatAppearsIsNoticed();
    void anUnlockedCollectionIsNoticed();
    void aLockedCollectionIsNot();
    void theObserverIsCalledOnTheMainThread();
    void theObserverMayEndTheWatch();
    void aServiceThatReturnsIsReadAtOnce();
    void aServiceThatGoesOnIsReadAtOnce();
    void aServiceThatHangsAgainWhenItIsReadIsLeftAlone();

private:
    PrivateSessionBus m_bus;
    SecretServiceKeychain m_keychain;
};

void SecretServiceAvailabilityTest::aServiceThatAppearsIsNoticed() {
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    int notices = 0;
    availability.setObserver([&] { ++notices; });
    const PrivateKeyring keyring(m_bus);
    QTRY_VERIFY(notices > 0);
}

void SecretServiceAvailabilityTest::anUnlockedCollectionIsNoticed() {
    PrivateKeyring keyring(m_bus);
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    int notices = 0;
    keyring.lock();
    QCoreApplication::processEvents();
    availability.setObserver([&] { ++notices; });
    keyring.unlock();
    QTRY_VERIFY(notices > 0);
}

void SecretServiceAvailabilityTest::aLockedCollectionIsNot() {
    PrivateKeyring keyring(m_bus);
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    QStringList events;
    availability.setObserver([&] { events.append(u"notice"_qs); });
    keyring.lock();
    events.append(u"locked"_qs);
    keyring.unlock();
    QTRY_VERIFY(events.contains(u"notice"_qs));
    QCOMPARE(events.first(), u"locked"_qs);
    QCOMPARE(events.count(u"notice"_qs), 1);
}

void SecretServiceAvailabilityTest::theObserverIsCalledOnTheMainThread() {
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    QThread *thread = nullptr;
    availability.setObserver([&] { thread = QThread::currentThread(); });
    const PrivateKeyring keyring(m_bus);
    QTRY_VERIFY(thread);
    QCOMPARE(thread, QThread::currentThread());
}

void SecretServiceAvailabilityTest::theObserverMayEndTheWatch() {
    PrivateKeyring keyring(m_bus);
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    SecretServiceAvailability other(m_keychain, m_bus.connection());
    int notices = 0;
    int others = 0;
    availability.setObserver([&] {
        ++notices;
        availability.setObserver({});
    });
    other.setObserver([&] { ++others; });
    keyring.lock();
    keyring.unlock();
    keyring.lock();
    keyring.unlock();
    QTRY_COMPARE(others, 2);
    QCOMPARE(notices, 1);
}

void SecretServiceAvailabilityTest::aServiceThatReturnsIsReadAtOnce() {
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    bool hasReturned = false;
    PrivateKeyring hanging(m_bus);
    QCoreApplication::processEvents();
    hanging.freeze();
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::failure);
    hanging.end();
    availability.setObserver([&] { hasReturned = true; });
    const PrivateKeyring fresh(m_bus);
    QTRY_VERIFY(hasReturned);
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::itemNotFound);
}

void SecretServiceAvailabilityTest::aServiceThatGoesOnIsReadAtOnce() {
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    PrivateKeyring keyring(m_bus);
    QCoreApplication::processEvents();
    int notices = 0;
    availability.setObserver([&] { ++notices; });
    keyring.freeze();
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::failure);
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::failure);
    QCOMPARE(notices, 0);
    keyring.thaw();
    QTRY_COMPARE(notices, 1);
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::itemNotFound);
}

void SecretServiceAvailabilityTest::aServiceThatHangsAgainWhenItIsReadIsLeftAlone() {
    SecretServiceAvailability availability(m_keychain, m_bus.connection());
    PrivateKeyring keyring(m_bus);
    QCoreApplication::processEvents();
    int notices = 0;
    availability.setObserver([&] {
        ++notices;
        keyring.freeze();
        QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::failure);
    });
    keyring.freeze();
    QCOMPARE(m_keychain.copyMatching({u"service"_qs, u"account"_qs}).status, KeychainStatus::failure);
    keyring.thaw();
    QTRY_COMPARE(notices, 1);
    keyring.thaw();
    QVERIFY(keyring.find({}).isEmpty()); // it has answered whatever it was asked before
    QCoreApplication::processEvents();
    QCOMPARE(notices, 1);
}

QTEST_GUILESS_MAIN(SecretServiceAvailabilityTest)
#include "SecretServiceAvailabilityTest.moc"
