#include "platform/linux/keyring/SecretServiceKeychain.h"

#include "support/DuringCall.h"
#include "support/OwnTime.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QDBusVirtualObject>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora::test;
using namespace std::chrono_literals;
using quillora::platform::KeychainItem;
using quillora::platform::KeychainQuery;
using quillora::platform::KeychainStatus;
using quillora::platform::SecretServiceKeychain;

namespace {

const KeychainQuery token{u"com.local.Quillora"_s, u"openAIClientToken"_s};
const PrivateKeyring::Attributes tokenAttributes{{u"service"_s, u"com.local.Quillora"_s},
                                                 {u"account"_s, u"openAIClientToken"_s}};
const KeychainItem failed{KeychainStatus::failure, {}};
const KeychainItem notFound{KeychainStatus::itemNotFound, {}};

/// Stands where the desktop shows its password dialogs.
class DialogWatch : public QDBusVirtualObject {
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &, const QDBusConnection &) override {
        wasAsked = true;
        return false;
    }
    bool wasAsked = false;
};

} // namespace

/// The keychain on a real keyring daemon, in the states that a desktop gets it into.
class SecretServiceKeychainTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_bus.install(); }
    void init();
    void cleanup();

    void anItemOfAnotherSchemaIsFound();
    void anItemWithMoreAttributesIsFound();
    void updatingKeepsTheOtherAttributes();
    void anAddedItemHasNoLabel();
    void anAddedItemHasTheTwoAttributesAndNoOther();
    void everyMatchingItemIsUpdatedAndRemoved();
    void anAbsentServiceIsAFailureAtOnce();
    void aKeyringWithoutACollectionHoldsNothing();
    void aRefusedDialogIsAFailure();
    void noDialogIsShownForALockedKeyring();
    void aFrozenServiceCostsOneSecondAtMost();
    void afterAFrozenCallTheServiceCountsAsAbsent();
    void typingWhileTheServiceHangsCostsOneSecondInAll();
    void afterHalfAMinuteTheServiceIsAskedAgain();
    void anAbsenceCanBeEndedEarly();
    void aWriteThatRanOutOfTimeIsNotMadeLater();
    void aServiceThatDiesDuringTheCallIsAFailure();
    void aServiceThatWasRestartedIsFound();

private:
    KeychainItem read() { return m_keychain.copyMatching(token); }
    static qint64 millisecondsOf(const std::function<void()> &call);

    PrivateSessionBus m_bus;
    std::unique_ptr<PrivateKeyring> m_keyring;
    std::chrono::steady_clock::time_point m_now;
    SecretServiceKeychain m_keychain{[this] { return m_now; }};
};

void SecretServiceKeychainTest::init() {
    m_now = std::chrono::steady_clock::now();
    m_keychain.endAbsence();
    m_keyring = std::make_unique<PrivateKeyring>(m_bus);
}

void SecretServiceKeychainTest::cleanup() {
    if (m_keyring)
        m_keyring->end();
    m_keyring.reset();
}

qint64 SecretServiceKeychainTest::millisecondsOf(const std::function<void()> &call) {
    const OwnTime timer;
    call();
    return timer.elapsed();
}

void SecretServiceKeychainTest::anItemOfAnotherSchemaIsFound() {
    auto attributes = tokenAttributes;
    attributes.insert(u"xdg:schema"_s, u"org.freedesktop.Secret.Generic"_s);
    m_keyring->store({u"Theirs"_s, attributes, "secret"});
    QCOMPARE(read().data, QByteArray("secret"));
}

void SecretServiceKeychainTest::anItemWithMoreAttributesIsFound() {
    auto attributes = tokenAttributes;
    attributes.insert(u"server"_s, u"example.org"_s);
    m_keyring->store({u"Theirs"_s, attributes, "secret"});
    QCOMPARE(read().data, QByteArray("secret"));
}

void SecretServiceKeychainTest::updatingKeepsTheOtherAttributes() {
    auto attributes = tokenAttributes;
    attributes.insert(u"server"_s, u"example.org"_s);
    attributes.insert(u"xdg:schema"_s, u"org.example.Theirs"_s);
    m_keyring->store({u"Theirs"_s, attributes, "old"});
    QCOMPARE(m_keychain.update(token, "new"), KeychainStatus::success);
    QCOMPARE(m_keyring->find(tokenAttributes),
             (QList<PrivateKeyring::Item>{{u"Theirs"_s, attributes, "new"}}));
}

void SecretServiceKeychainTest::anAddedItemHasNoLabel() {
    QCOMPARE(m_keychain.add(token, "secret"), KeychainStatus::success);
    QCOMPARE(m_keyring->find(tokenAttributes).size(), 1);
    QCOMPARE(m_keyring->find(tokenAttributes).first().label, QString());
}

void SecretServiceKeychainTest::anAddedItemHasTheTwoAttributesAndNoOther() {
    m_keyring->useCollectionWithoutFile();
    QCOMPARE(m_keychain.add(token, "secret"), KeychainStatus::success);
    QCOMPARE(m_keyring->find(tokenAttributes).size(), 1);
    QCOMPARE(m_keyring->find(tokenAttributes).first().attributes, tokenAttributes);
}

void SecretServiceKeychainTest::everyMatchingItemIsUpdatedAndRemoved() {
    m_keyring->store({u"One"_s, tokenAttributes, "1"});
    m_keyring->store({u"Two"_s, tokenAttributes, "2"});
    QCOMPARE(m_keyring->find(tokenAttributes).size(), 2);
    m_keychain.update(token, "new");
    for (const auto &item : m_keyring->find(tokenAttributes))
        QCOMPARE(item.data, "new");
    QCOMPARE(m_keychain.remove(token), KeychainStatus::success);
    QCOMPARE(m_keyring->find(tokenAttributes).size(), 0);
}

void SecretServiceKeychainTest::anAbsentServiceIsAFailureAtOnce() {
    m_keyring->end();
    m_keyring.reset();
    const auto time = millisecondsOf([&] { QCOMPARE(read(), failed); });
    QVERIFY(time < SecretServiceKeychain::deadline.count());
    QCOMPARE(m_keychain.update(token, "x"), KeychainStatus::failure);
    QCOMPARE(m_keychain.add(token, "x"), KeychainStatus::failure);
    QCOMPARE(m_keychain.remove(token), KeychainStatus::failure);
}

void SecretServiceKeychainTest::aKeyringWithoutACollectionHoldsNothing() {
    m_keyring->end();
    m_keyring = std::make_unique<PrivateKeyring>(m_bus, PrivateKeyring::Collection::none);
    QCOMPARE(read(), notFound);
}

void SecretServiceKeychainTest::aRefusedDialogIsAFailure() {
    m_keyring->end();
    m_keyring = std::make_unique<PrivateKeyring>(m_bus, PrivateKeyring::Collection::none);
    // To make the first collection the keyring would ask for a new password.
    const auto time = millisecondsOf([&] { QCOMPARE(m_keychain.add(token, "x"), KeychainStatus::failure); });
    QVERIFY(time < SecretServiceKeychain::deadline.count());
}

void SecretServiceKeychainTest::noDialogIsShownForALockedKeyring() {
    DialogWatch dialogs;
    auto bus = m_bus.connection();
    QVERIFY(bus.registerService(u"org.gnome.keyring.SystemPrompter"_s));
    QVERIFY(bus.registerVirtualObject(u"/org/gnome/keyring"_s, &dialogs, QDBusConnection::SubPath));
    m_keychain.add(token, "secret");
    m_keyring->lock();
    read();
    m_keychain.update(token, "x");
    m_keychain.add({u"com.local.Quillora"_s, u"deviceIdentifier"_s}, "x");
    m_keychain.remove(token);
    m_keyring->settle();
    bus.unregisterObject(u"/org/gnome/keyring"_s, QDBusConnection::UnregisterTree);
    bus.unregisterService(u"org.gnome.keyring.SystemPrompter"_s);
    QVERIFY(!dialogs.wasAsked);
}

void SecretServiceKeychainTest::aFrozenServiceCostsOneSecondAtMost() {
    m_keyring->freeze();
    const auto time = millisecondsOf([&] { QCOMPARE(read(), failed); });
    QVERIFY2(time <= 1000, qPrintable(QString::number(time)));
}

void SecretServiceKeychainTest::afterAFrozenCallTheServiceCountsAsAbsent() {
    m_keyring->freeze();
    read();
    m_keyring->thaw();
    m_now += SecretServiceKeychain::absence - 1ms;
    QCOMPARE(read(), failed);
    QCOMPARE(m_keychain.add(token, "x"), KeychainStatus::failure);
    QCOMPARE(m_keyring->find(tokenAttributes).size(), 0);
}

void SecretServiceKeychainTest::typingWhileTheServiceHangsCostsOneSecondInAll() {
    m_keyring->freeze();
    const auto time = millisecondsOf([&] {
        for (int length = 1; length <= 50; ++length)
            m_keychain.update(token, QByteArray(length, 'k'));
    });
    QVERIFY2(time <= 1000, qPrintable(QString::number(time)));
}

void SecretServiceKeychainTest::afterHalfAMinuteTheServiceIsAskedAgain() {
    m_keyring->freeze();
    read();
    m_keyring->thaw();
    m_now += SecretServiceKeychain::absence;
    QCOMPARE(read(), notFound);
}

void SecretServiceKeychainTest::anAbsenceCanBeEndedEarly() {
    m_keyring->freeze();
    read();
    m_keyring->thaw();
    m_keychain.endAbsence();
    QCOMPARE(read(), notFound);
}

void SecretServiceKeychainTest::aWriteThatRanOutOfTimeIsNotMadeLater() {
    m_keyring->store({u"Theirs"_s, tokenAttributes, "old"});
    m_keyring->freeze();
    QCOMPARE(m_keychain.update(token, "late"), KeychainStatus::failure);
    m_keyring->thaw();
    m_keychain.endAbsence();
    // Takes as many answers as the write that began before it, over the same connection.
    QCOMPARE(m_keychain.add({u"com.local.Quillora"_s, u"deviceIdentifier"_s}, "x"), KeychainStatus::success);
    QCOMPARE(m_keychain.update({u"com.local.Quillora"_s, u"deviceIdentifier"_s}, "y"),
             KeychainStatus::success);
    QCOMPARE(m_keyring->find(tokenAttributes).value(0).data, "old");
}

void SecretServiceKeychainTest::aServiceThatDiesDuringTheCallIsAFailure() {
    m_keyring->freeze();
    DuringCall death(m_bus, u"org.freedesktop.secrets"_s, [this] { m_keyring->signal(SIGKILL); });
    const auto time = millisecondsOf([&] { QCOMPARE(read(), failed); });
    QVERIFY(death.wasDone());
    QVERIFY(time <= 1000);
}

void SecretServiceKeychainTest::aServiceThatWasRestartedIsFound() {
    QCOMPARE(read(), notFound);
    m_keyring->end();
    QCOMPARE(read(), failed);
    m_keyring = std::make_unique<PrivateKeyring>(m_bus);
    QCOMPARE(read(), notFound);
    QCOMPARE(m_keychain.add(token, "secret"), KeychainStatus::success);
    QCOMPARE(read().data, QByteArray("secret"));
}

QTEST_GUILESS_MAIN(SecretServiceKeychainTest)
#include "SecretServiceKeychainTest.moc"
