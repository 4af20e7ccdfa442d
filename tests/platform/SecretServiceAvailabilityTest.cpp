#include "platform/linux/keyring/SecretServiceAvailability.h"

#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QTest>

using namespace quillora::test;
using quillora::platform::KeychainStatus;
using quillora::platform::SecretServiceAvailability;
using quillora::platform::SecretServiceKeychain;

/// What a service that appears means to the keychain.
class SecretServiceAvailabilityTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_bus.install(); }
    void aServiceThatReturnsIsReadAtOnce();
    void aServiceThatGoesOnIsReadAtOnce();
    void aServiceThatHangsAgainWhenItIsReadIsLeftAlone();

private:
    PrivateSessionBus m_bus;
    SecretServiceKeychain m_keychain;
};

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
