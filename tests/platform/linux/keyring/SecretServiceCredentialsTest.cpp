#include "controller/AppController.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::PrivateKeyring;

namespace {

const QString current = u"com.local.Quillora"_s;
const QString legacy = u"com.local.Cobaltwhisk"_s;
const QString token = u"openAIClientToken"_s;
const QString device = u"deviceIdentifier"_s;

/// A desktop of fakes with a real keyring.
class KeyringPlatform : public test::FakePlatform {
public:
    platform::Keychain &keychain() override { return m_keychain; }

private:
    platform::SecretServiceKeychain m_keychain;
};

} // namespace

/// What becomes of the credentials in a keyring when dictations are translated by the hosted engine.
class SecretServiceCredentialsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_bus.install(); }
    void init();
    void cleanup();

    void aLegacyTokenIsSentAndCopiedAndStays();
    void aCurrentTokenIsSentAndTheLegacyOneStays();
    void anEditedTokenIsSentAndTheLegacyOneStays();
    void aClearedTokenIsNotSentAndGoesFromBothServices();
    void aClearedTokenIsStillGoneAfterARestart();
    void aLegacyDeviceIdentifierIsSentAndCopiedAndStays();
    void aNewDeviceIdentifierIsKeptForTheNextRun();

private:
    void place(const QString &service, const QString &account, const QByteArray &data);
    /// What the keyring holds; empty where there is no such item or several.
    QByteArray held(const QString &service, const QString &account);
    void start();
    /// The headers that a dictation is sent with.
    QMap<QByteArray, QByteArray> dictate();

    test::PrivateSessionBus m_bus;
    std::optional<PrivateKeyring> m_keyring;
    std::optional<KeyringPlatform> m_platform;
    std::unique_ptr<AppController> m_controller;
};

void SecretServiceCredentialsTest::init() {
    m_keyring.emplace(m_bus);
    m_platform.emplace();
    m_platform->workspaceFake.frontmost = m_platform->workspaceFake.launch(u"editor"_s);
    m_platform->speech.locales = {u"en-US"_s};
    m_platform->defaults.values = {{u"translationEngineIdentifier"_s, u"openAINatural"_s}};
}

void SecretServiceCredentialsTest::cleanup() {
    m_controller.reset();
    m_platform->run();
    m_platform.reset();
    m_keyring->end();
}

void SecretServiceCredentialsTest::place(const QString &service, const QString &account,
                                         const QByteArray &data) {
    m_keyring->store({u"Theirs"_s, {{u"service"_s, service}, {u"account"_s, account}}, data});
}

QByteArray SecretServiceCredentialsTest::held(const QString &service, const QString &account) {
    const auto items = m_keyring->find({{u"service"_s, service}, {u"account"_s, account}});
    return items.size() == 1 ? items.first().data : QByteArray();
}

void SecretServiceCredentialsTest::start() {
    m_controller.reset();
    m_controller = std::make_unique<AppController>();
}

QMap<QByteArray, QByteArray> SecretServiceCredentialsTest::dictate() {
    m_platform->http.requests.clear();
    m_controller->hotKeyPressed();
    m_platform->run();
    m_controller->hotKeyReleased();
    m_platform->speech.deliverFinal(u"hello"_s);
    m_platform->queue.advance(std::chrono::seconds(10));
    QMap<QByteArray, QByteArray> headers;
    for (const auto &[name, value] : m_platform->http.requests.at(0).headers)
        headers.insert(name, value);
    return headers;
}

void SecretServiceCredentialsTest::aLegacyTokenIsSentAndCopiedAndStays() {
    place(legacy, token, "old");
    start();
    QCOMPARE(m_controller->openAIClientToken(), u"old"_s);
    QCOMPARE(dictate().value("Authorization"), "Bearer old");
    QCOMPARE(held(current, token), "old");
    QCOMPARE(held(legacy, token), "old");
}

void SecretServiceCredentialsTest::aCurrentTokenIsSentAndTheLegacyOneStays() {
    place(legacy, token, "old");
    place(current, token, "new");
    start();
    QCOMPARE(dictate().value("Authorization"), "Bearer new");
    QCOMPARE(held(current, token), "new");
    QCOMPARE(held(legacy, token), "old");
}

void SecretServiceCredentialsTest::anEditedTokenIsSentAndTheLegacyOneStays() {
    place(legacy, token, "old");
    start();
    m_controller->setOpenAIClientToken(u"edited"_s);
    QCOMPARE(dictate().value("Authorization"), "Bearer edited");
    QCOMPARE(held(current, token), "edited");
    QCOMPARE(held(legacy, token), "old");
}

void SecretServiceCredentialsTest::aClearedTokenIsNotSentAndGoesFromBothServices() {
    place(legacy, token, "old");
    start();
    m_controller->setOpenAIClientToken({});
    QVERIFY(!dictate().contains("Authorization"));
    for (const QString &service : {current, legacy})
        QVERIFY(m_keyring->find({{u"service"_s, service}, {u"account"_s, token}}).isEmpty());
}

void SecretServiceCredentialsTest::aClearedTokenIsStillGoneAfterARestart() {
    place(legacy, token, "old");
    start();
    m_controller->setOpenAIClientToken({});
    start();
    QCOMPARE(m_controller->openAIClientToken(), QString());
}

void SecretServiceCredentialsTest::aLegacyDeviceIdentifierIsSentAndCopiedAndStays() {
    place(legacy, device, "this-one");
    start();
    const auto headers = dictate();
    QCOMPARE(headers.value("X-Quillora-Device-Id"), "this-one");
    QCOMPARE(headers.value("X-Cobaltwhisk-Device-Id"), "this-one");
    QCOMPARE(held(current, device), "this-one");
    QCOMPARE(held(legacy, device), "this-one");
}

void SecretServiceCredentialsTest::aNewDeviceIdentifierIsKeptForTheNextRun() {
    start();
    const QByteArray identifier = dictate().value("X-Quillora-Device-Id");
    QCOMPARE(identifier.size(), 73);
    QCOMPARE(held(current, device), identifier);
    start();
    QCOMPARE(dictate().value("X-Quillora-Device-Id"), identifier);
}

QTEST_GUILESS_MAIN(SecretServiceCredentialsTest)
#include "SecretServiceCredentialsTest.moc"
