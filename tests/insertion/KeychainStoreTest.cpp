#include "insertion/KeychainStore.h"
#include "fakes/FakePlatform.h"
#include "insertion/DeviceIdentifier.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

const QString current = u"com.local.Quillora"_s;
const QString legacy = u"com.local.Cobaltwhisk"_s;
const QString key = u"openAIClientToken"_s;

} // namespace

class KeychainStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<test::FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    void aNewValueIsAddedOnceTheUpdateFindsNoItem() {
        KeychainStore::setString(u"secret"_s, key);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"keychain.update com.local.Quillora openAIClientToken"_s,
                              u"keychain.add com.local.Quillora openAIClientToken"_s}));
        QCOMPARE(KeychainStore::string(key), std::optional(u"secret"_s));
    }

    void anUpdateKeepsTheItemsOtherAttributes() {
        items()[{current, key}] = {"old", u"made by hand"_s};
        KeychainStore::setString(u"new"_s, key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.update com.local.Quillora openAIClientToken"_s});
        QCOMPARE(items()[std::pair(current, key)].data, std::optional<QByteArray>("new"));
        QCOMPARE(items()[std::pair(current, key)].label, u"made by hand"_s);
    }

    void aFailedUpdateIsDropped() {
        m_platform->keychainFake.isBroken = true;
        KeychainStore::setString(u"secret"_s, key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.update com.local.Quillora openAIClientToken"_s});
    }

    void valuesAreStoredAsUtf8() {
        KeychainStore::setString(u"gé😀"_s, key);
        QCOMPARE(items()[std::pair(current, key)].data,
                 std::optional<QByteArray>("g\xc3\xa9\xf0\x9f\x98\x80"));
        QCOMPARE(KeychainStore::string(key), std::optional(u"gé😀"_s));
    }

    void aLegacyValueIsReturnedAndCopiedAndStays() {
        items()[{legacy, key}] = {"old", {}};
        QCOMPARE(KeychainStore::string(key), std::optional(u"old"_s));
        QCOMPARE(items()[std::pair(current, key)].data, std::optional<QByteArray>("old"));
        QVERIFY(items().contains(std::pair(legacy, key)));
    }

    void theMigrationHappensOnce() {
        items()[{legacy, key}] = {"old", {}};
        KeychainStore::string(key);
        m_platform->log.clear();
        KeychainStore::string(key);
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_s});
    }

    void anEmptyValueDeletesTheItemOfBothServices() {
        items()[{current, key}] = {"a", {}};
        items()[{legacy, key}] = {"b", {}};
        KeychainStore::setString({}, key);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"keychain.remove com.local.Quillora openAIClientToken"_s,
                              u"keychain.remove com.local.Cobaltwhisk openAIClientToken"_s}));
        QVERIFY(items().empty());
        QVERIFY(!KeychainStore::string(key));
    }

    void aStoredEmptyValueIsReturnedWithoutAskingTheLegacyService() {
        items()[{current, key}] = {QByteArray(""), {}};
        items()[{legacy, key}] = {"old", {}};
        QCOMPARE(KeychainStore::string(key), std::optional(u""_s));
        QCOMPARE(m_platform->log.calls(),
                 QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_s});
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
        QCOMPARE(KeychainStore::string(key), std::optional(u"\ufeffx"_s));
    }

    void whatTheKeychainTookIsReportedSo_data() {
        QTest::addColumn<QString>("value");
        QTest::newRow("a value") << u"secret"_s;
        QTest::newRow("no value") << QString();
    }
    void whatTheKeychainTookIsReportedSo() {
        QFETCH(QString, value);
        QVERIFY(KeychainStore::setString(value, key)); // there is no item yet
        items()[{legacy, key}] = {"old", {}};
        QVERIFY(KeychainStore::setString(u"other"_s, key));
        QVERIFY(KeychainStore::setString(value, key));
    }

    void whatTheKeychainDidNotTakeIsReportedSo_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<std::function<void(test::FakeKeychain &)>>("breakKeychain");
        using Break = std::function<void(test::FakeKeychain &)>;
        QTest::newRow("locked") << u"secret"_s << Break([](auto &keychain) { keychain.isBroken = true; });
        QTest::newRow("locked, clearing")
            << QString() << Break([](auto &keychain) { keychain.isBroken = true; });
        QTest::newRow("no additions")
            << u"secret"_s << Break([](auto &keychain) { keychain.refusesAdditions = true; });
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
            u"^([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}-?){2}$"_s);
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(identifier[36], u'-');
        QVERIFY(shape.match(identifier).hasMatch());
        QVERIFY(identifier.left(36) != identifier.right(36));
    }

    void deviceIdentifierStaysTheSame() {
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(DeviceIdentifier::current(), identifier);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_s)].data, std::optional(identifier.toUtf8()));
    }

    void deviceIdentifierOfTheLegacyServiceIsKept() {
        items()[{legacy, u"deviceIdentifier"_s}] = {"the-old-one", {}};
        QCOMPARE(DeviceIdentifier::current(), u"the-old-one"_s);
    }

    void deviceIdentifierReplacesAnEmptyValue() {
        items()[{current, u"deviceIdentifier"_s}] = {QByteArray(""), {}};
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_s)].data, std::optional(identifier.toUtf8()));
    }

    void deviceIdentifierReplacesAValueThatIsNotUtf8() {
        items()[{current, u"deviceIdentifier"_s}] = {"\xff", {}};
        const QString identifier = DeviceIdentifier::current();
        QCOMPARE(identifier.size(), 73);
        QCOMPARE(items()[std::pair(current, u"deviceIdentifier"_s)].data, std::optional(identifier.toUtf8()));
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
