#include "insertion/KeychainStore.h"
#include "fakes/FakePlatform.h"
#include "insertion/DeviceIdentifier.h"

#include <QRegularExpression>
#include <QTest>

using namespace quillora;

namespace {

const QString current = u"com.local.Quillora"_qs;
const QString legacy = u"com.local.Cobaltwhisk"_qs;
const QString key = u"openAIClientToken"_qs;

} // namespace

class KeychainStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<test::FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    void aNewValueIsAddedOnceTheUpdateFindsNoItem() {
        KeychainStore::setString(u"secret"_qs, key);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"keychain.update com.local.Quillora openAIClientToken"_qs,
                              u"keychain.add com.local.Quillora openAIClientToken"_qs}));
        QCOMPARE(KeychainStore::string(key), std::optional(u"secret"_qs));
    }

    void anUpdateKeepsTheItemsOtherAttributes() {
        items()[{current, key}] = {"old", u"made by hand"_qs};
        KeychainStore::setString(u"new"_qs, key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.update com.local.Quillora openAIClientToken"_qs});
        QCOMPARE(items()[std::pair(current, key)].data, std::optional<QByteArray>("new"));
        QCOMPARE(items()[std::pair(current, key)].label, u"made by hand"_qs);
    }

    void aFailedUpdateIsDropped() {
        m_platform->keychainFake.isBroken = true;
        KeychainStore::setString(u"secret"_qs, key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.update com.local.Quillora openAIClientToken"_qs});
    }

    void valuesAreStoredAsUtf8() {
        KeychainStore::setString(u"gé😀"_qs, key);
        QCOMPARE(items()[std::pair(current, key)].data,
                 std::optional<QByteArray>("g\xc3\xa9\xf0\x9f\x98\x80"));
        QCOMPARE(KeychainStore::string(key), std::optional(u"gé😀"_qs));
    }

    void aLegacyValueIsReturnedAndCopiedAndStays() {
        items()[{legacy, key}] = {"old", {}};
        QCOMPARE(KeychainStore::string(key), std::optional(u"old"_qs));
        QCOMPARE(items()[std::pair(current, key)].data, std::optional<QByteArray>("old"));
        QVERIFY(items().contains(std::pair(legacy, key)));
    }

    void theMigrationHappensOnce() {
        items()[{legacy, key}] = {"old", {}};
        KeychainStore::string(key);
        m_platform->log.clear();
        KeychainStore::string(key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_qs});
    }

    void anEmptyValueDeletesTheItemOfBothServices() {
        items()[{current, key}] = {"a", {}};
        items()[{legacy, key}] = {"b", {}};
        KeychainStore::setString({}, key);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"keychain.remove com.local.Quillora openAIClientToken"_qs,
                              u"keychain.remove com.local.Cobaltwhisk openAIClientToken"_qs}));
        QVERIFY(items().empty());
        QVERIFY(!KeychainStore::string(key));
    }

    void aStoredEmptyValueIsReturnedWithoutAskingTheLegacyService() {
        items()[{current, key}] = {QByteArray(""), {}};
        items()[{legacy, key}] = {"old", {}};
        QCOMPARE(KeychainStore::string(key), std::optional(u""_qs));
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_qs});
    }

    void aValueThatIsNotUtf8IsNoValue_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("a stray byte") << QByteArray("abc\xff");
        QTest::newRow("a cut sequence") << QByteArray("abc\xc3");
        QTest::newRow("an overlong form") << QByteArray("\xc0\x80");
    }
    void aValueThatIsNotUtf8IsNoValue() {
        QFETCH(QByteArray, bytes);
        items()[{current, key}] = {bytes, {}};
        QVERIFY(!KeychainStore::string(key));
    }

    void anItemWithoutDataIsNoValue() {
        items()[{current, key}] = {std::nullopt, {}};
        QVERIFY(!KeychainStore::string(key));
    }

    void aByteOrderMarkIsPartOfTheValue() {
        items()[{current, key}] = {"\xef\xbb\xbfx", {}};
        QCOMPARE(KeychainStore::string(key), std::optional(u"\ufeffx"_qs));
    }

    void whatTheKeychainTookIsReportedSo_data() {
        QTest::addColumn<QString>("value");
        QTest::newRow("a value") << u"secret"_qs;
        QTest::newRow("no value") << QString();
    }
    void whatTheKeychainTookIsReportedSo() {
        QFETCH(QString, value);
        QVERIFY(KeychainStore::setString(value, key)); // there is no item yet
        items()[{legacy, key}] = {"old", {}};
        QVERIFY(KeychainStore::setString(u"other"_qs, key));
        QVERIFY(KeychainStore::setString(value, key));
    }

    void whatTheKeychainDidNotTakeIsReportedSo_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<std::function<void(test::FakeKeychain &)>>("breakKeychain");
        using Break = std::function<void(test::FakeKeychain &)>;
        QTest::newRow("locked") << u"secret"_qs << Break([](auto &keychain) { keychain.isBroken = true; });
        QTest::newRow("locked, clearing")
            << QString() << Break([](auto &keychain) { keychain.isBroken = true; });
        QTest::newRow("no additions")
            << u"secret"_qs << Break([](auto &keychain) { keychain.refusesAdditions = true; });
        for (const QString &service : {current, legacy})
            QTest::addRow("no removal from %s", qPrintable(service))
                << QString()
                << Break([service](auto &keychain) { keychain.unremovableServices = {service}; });
    }
    void whatTheKeychainDidNotTakeIsReportedSo() {
        QFETCH(QString, value);
        QFETCH(std::function<void(test::FakeKeychain &)>, breakKeychain);
        breakKeychain(m_platform->keychainFake);
        QVERIFY(!KeychainStore::setString(value, key));
    }

    void deviceIdentifierIsTwoUpperCaseUuids() {
        const QString identifier = DeviceIdentifier::current();
        static const QRegularExpression shape(
            u"^([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}-?){2}$"_qs);
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(identifier[36], u'-');
        QVERIFY(shape.match(identifier).hasMatch());
        QVERIFY(identifier.left(36) != identifier.right(36));
    }

    void deviceIdentifierStaysTheSame() {
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(DeviceIdentifier::current(), identifier);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_qs)].data,
                 std::optional(identifier.toUtf8()));
    }

    void deviceIdentifierOfTheLegacyServiceIsKept() {
        items()[{legacy, u"deviceIdentifier"_qs}] = {"the-old-one", {}};
        QCOMPARE(DeviceIdentifier::current(), u"the-old-one"_qs);
    }

    void deviceIdentifierReplacesAnEmptyValue() {
        items()[{current, u"deviceIdentifier"_qs}] = {QByteArray(""), {}};
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_qs)].data,
                 std::optional(identifier.toUtf8()));
    }

    void deviceIdentifierReplacesAValueThatIsNotUtf8() {
        items()[{current, u"deviceIdentifier"_qs}] = {"\xff", {}};
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_qs)].data,
                 std::optional(identifier.toUtf8()));
    }

    void deviceIdentifierThatCannotBeStoredIsNewEachTime() {
        m_platform->keychainFake.isBroken = true;
        QVERIFY(DeviceIdentifier::current() != DeviceIdentifier::current());
    }

private:
    std::map<test::FakeKeychain::Key, test::FakeKeychain::Item> &items() {
        return m_platform->keychainFake.items;
    }

    std::unique_ptr<test::FakePlatform> m_platform;
};

QTEST_GUILESS_MAIN(KeychainStoreTest)
#include "KeychainStoreTest.moc"
