#include "platform/linux/keyring/SecretServiceKeychain.h"

#include "support/DuringCall.h"
#include "support/OwnTime.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora::test;
using quillora::platform::KeychainItem;
using quillora::platform::KeychainQuery;
using quillora::platform::KeychainStatus;
using quillora::platform::SecretServiceKeychain;

namespace {
const KeychainQuery token{u"com.local.Quillora"_s, u"openAIClientToken"_s};
const KeychainItem failed{KeychainStatus::failure, {}};
} // namespace

/// The keychain where the session bus itself is missing, hangs or goes away; in this order, since a process
/// connects to its session bus but once.
class SecretServiceWithoutBusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSessionWithoutABusIsAFailureAtOnce();
    void aFrozenBusCostsOneSecondAtMost();
    void theProgramSurvivesTheEndOfItsBusDuringACall();

private:
    PrivateSessionBus m_bus;
};

void SecretServiceWithoutBusTest::aSessionWithoutABusIsAFailureAtOnce() {
    const OwnTime timer;
    QCOMPARE(SecretServiceKeychain().copyMatching(token), failed);
    QVERIFY(timer.elapsed() < SecretServiceKeychain::deadline.count());
}

void SecretServiceWithoutBusTest::aFrozenBusCostsOneSecondAtMost() {
    m_bus.install();
    m_bus.process().signal(SIGSTOP);
    const OwnTime timer;
    QCOMPARE(SecretServiceKeychain().copyMatching(token), failed);
    QVERIFY2(timer.elapsed() <= 1000, qPrintable(QString::number(timer.elapsed())));
    m_bus.process().signal(SIGCONT);
}

void SecretServiceWithoutBusTest::theProgramSurvivesTheEndOfItsBusDuringACall() {
    PrivateKeyring keyring(m_bus);
    keyring.freeze();
    DuringCall death(m_bus, u"org.freedesktop.secrets"_s, [this] { m_bus.process().signal(SIGKILL); });
    QCOMPARE(SecretServiceKeychain().copyMatching(token), failed);
    QVERIFY(death.wasDone());
    QTRY_VERIFY(!m_bus.connection().isConnected());
    QCOMPARE(SecretServiceKeychain().copyMatching(token), failed);
}

QTEST_GUILESS_MAIN(SecretServiceWithoutBusTest)
#include "SecretServiceWithoutBusTest.moc"
