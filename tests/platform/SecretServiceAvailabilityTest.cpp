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

QTEST_GUILESS_MAIN(SecretServiceAvailabilityTest)
#include "SecretServiceAvailabilityTest.moc"
