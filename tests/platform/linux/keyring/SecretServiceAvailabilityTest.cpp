#include "platform/linux/keyring/SecretServiceAvailability.h"

#include "fakes/FakeMainQueue.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/KeyringPrompter.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::test;
using namespace std::chrono_literals;
using quillora::platform::KeychainStatus;
using quillora::platform::SecretServiceAvailability;
using quillora::platform::SecretServiceKeychain;

/// What a service that appears, or answers again, means to the keychain.
class SecretServiceAvailabilityTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_bus.install(); }
    void init();
    void cleanup();
    void aServiceThatReturnsIsReadAtOnce();
    void aServiceThatGoesOnIsReadWhenItsAbsenceIsOver();
    void aServiceThatStillHangsThenIsReadAsSoonAsItAnswers();
    void aServiceThatIsSlowWhenItIsNoticedIsReadAgainWhenItsAbsenceIsOver();
    void aServiceThatHangsWheneverItIsReadIsReadOnceAnAbsence();
    void aServiceThatReturnsIsNotReadAgainWhenTheAbsenceWouldHaveEnded();
    void aCollectionThatIsMadeLaterIsNoticed();
    void aServiceThatHangsAsksNothingOnceItGoesOn();
    void aServiceThatEndsEndsItsQuestion();
    void noPasswordIsAskedForWhereThereIsNoCollection();

private:
    static constexpr auto absence = SecretServiceKeychain::absence;

    KeychainStatus read() { return m_keychain.copyMatching({u"service"_s, u"account"_s}).status; }
    void notice(const std::function<void()> &andThen = {});
    void pass(std::chrono::milliseconds time);

    PrivateSessionBus m_bus;
    std::chrono::steady_clock::time_point m_now = std::chrono::steady_clock::now();
    SecretServiceKeychain m_keychain{[this] { return m_now; }};
    FakeMainQueue m_queue;
    std::optional<SecretServiceAvailability> m_availability;
    std::optional<PrivateKeyring> m_keyring;
    int m_notices = 0;
};

void SecretServiceAvailabilityTest::init() {
    m_notices = 0;
    m_keychain.endAbsence();
    m_availability.emplace(m_keychain, m_queue, m_bus.connection());
    m_keyring.emplace(m_bus);
    m_keyring->settle();
}

void SecretServiceAvailabilityTest::cleanup() {
    m_availability.reset();
    m_keyring->end();
    QCOMPARE(m_queue.delayedCount(), 0);
}

/// Counts how often the service is noticed.
void SecretServiceAvailabilityTest::notice(const std::function<void()> &andThen) {
    m_availability->setObserver([this, andThen] {
        ++m_notices;
        if (andThen)
            andThen();
    });
}

void SecretServiceAvailabilityTest::pass(std::chrono::milliseconds time) {
    m_now += time;
    m_queue.advance(time);
}

void SecretServiceAvailabilityTest::aServiceThatReturnsIsReadAtOnce() {
    m_keyring->freeze();
    QCOMPARE(read(), KeychainStatus::failure);
    m_keyring->end();
    notice();
    m_keyring.emplace(m_bus);
    QTRY_COMPARE(m_notices, 1);
    QCOMPARE(read(), KeychainStatus::itemNotFound);
}

void SecretServiceAvailabilityTest::aServiceThatGoesOnIsReadWhenItsAbsenceIsOver() {
    notice();
    m_keyring->freeze();
    QCOMPARE(read(), KeychainStatus::failure);
    QCOMPARE(read(), KeychainStatus::failure);
    m_keyring->thaw();
    pass(absence - 1ms);
    m_keyring->settle();
    QCOMPARE(m_notices, 0);
    pass(1ms);
    QTRY_COMPARE(m_notices, 1);
    QCOMPARE(read(), KeychainStatus::itemNotFound);
}

void SecretServiceAvailabilityTest::aServiceThatStillHangsThenIsReadAsSoonAsItAnswers() {
    notice();
    m_keyring->freeze();
    QCOMPARE(read(), KeychainStatus::failure);
    pass(absence);
    QCoreApplication::processEvents();
    QCOMPARE(m_notices, 0);
    m_keyring->thaw();
    QTRY_COMPARE(m_notices, 1);
    QCOMPARE(read(), KeychainStatus::itemNotFound);
}

void SecretServiceAvailabilityTest::aServiceThatIsSlowWhenItIsNoticedIsReadAgainWhenItsAbsenceIsOver() {
    m_keyring->end();
    QList<KeychainStatus> results;
    notice([&] {
        if (m_notices == 1)
            m_keyring->freeze();
        results.append(read());
    });
    m_keyring.emplace(m_bus);
    QTRY_COMPARE(results, QList{KeychainStatus::failure});
    m_keyring->thaw();
    pass(absence);
    QTRY_COMPARE(results, (QList{KeychainStatus::failure, KeychainStatus::itemNotFound}));
}

void SecretServiceAvailabilityTest::aServiceThatHangsWheneverItIsReadIsReadOnceAnAbsence() {
    notice([&] {
        m_keyring->freeze();
        QCOMPARE(read(), KeychainStatus::failure);
    });
    m_keyring->freeze();
    QCOMPARE(read(), KeychainStatus::failure);
    for (int absences = 1; absences <= 3; ++absences) {
        m_keyring->thaw();
        pass(absence - 1ms);
        m_keyring->settle();
        QCOMPARE(m_notices, absences - 1);
        pass(1ms);
        QTRY_COMPARE(m_notices, absences);
    }
}

void SecretServiceAvailabilityTest::aServiceThatReturnsIsNotReadAgainWhenTheAbsenceWouldHaveEnded() {
    m_keyring->freeze();
    QCOMPARE(read(), KeychainStatus::failure);
    m_keyring->end();
    notice();
    m_keyring.emplace(m_bus);
    QTRY_COMPARE(m_notices, 1);
    pass(absence);
    QTRY_COMPARE(m_notices, 1);
}

void SecretServiceAvailabilityTest::aCollectionThatIsMadeLaterIsNoticed() {
    m_keyring->end();
    m_keyring.emplace(m_bus, PrivateKeyring::Collection::none);
    m_keyring->settle();
    QList<KeychainStatus> results;
    notice([&] { results.append(m_keychain.add({u"service"_s, u"account"_s}, "secret")); });
    m_keyring->makeCollection();
    m_keyring->settle();
    QCOMPARE(results, QList{KeychainStatus::success});
}

void SecretServiceAvailabilityTest::aServiceThatHangsAsksNothingOnceItGoesOn() {
    KeyringPrompter prompter(m_bus);
    const auto isAsked = [&] { return prompter.isAsking(); };
    m_keyring->lock();
    m_keyring->freeze();
    m_availability->askToUnlock({});
    pass(1s);
    m_keyring->thaw();
    m_keyring->settle();
    QVERIFY(!ChildProcess::waitUntil(isAsked, 500));
    m_availability->askToUnlock({});
    QVERIFY(ChildProcess::waitUntil(isAsked));
}

void SecretServiceAvailabilityTest::aServiceThatEndsEndsItsQuestion() {
    KeyringPrompter prompter(m_bus);
    const auto isAsked = [&] { return prompter.isAsking(); };
    m_keyring->lock();
    m_availability->askToUnlock({});
    QVERIFY(ChildProcess::waitUntil(isAsked));
    m_keyring->end();
    QVERIFY(ChildProcess::waitUntil([&] { return !isAsked(); }));
    m_keyring.emplace(m_bus);
    m_keyring->lock();
    m_keyring->settle();
    m_availability->askToUnlock({});
    QVERIFY(ChildProcess::waitUntil(isAsked));
}

void SecretServiceAvailabilityTest::noPasswordIsAskedForWhereThereIsNoCollection() {
    m_keyring->end();
    m_keyring.emplace(m_bus, PrivateKeyring::Collection::none);
    KeyringPrompter prompter(m_bus);
    m_availability->askToUnlock({});
    const auto hasGivenUp = [&] { return m_queue.delayedCount() == 0; };
    QVERIFY(ChildProcess::waitUntil(hasGivenUp));
    QVERIFY(!prompter.isAsking());
}

QTEST_GUILESS_MAIN(SecretServiceAvailabilityTest)
#include "SecretServiceAvailabilityTest.moc"
