#pragma once

#include "contract/Subjects.h"
#include "platform/Keychain.h"

#include <QTest>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A keychain, and what other programs and the user do to its store.
class KeychainHarness {
public:
    virtual ~KeychainHarness() = default;

    virtual platform::Keychain &keychain() = 0;

    /// Another program writes an item with a label of its own.
    virtual void place(const platform::KeychainQuery &query, const QByteArray &data,
                       const QString &label) = 0;

    /// What another program finds; nothing where there is no such item.
    virtual std::optional<QByteArray> stored(const platform::KeychainQuery &query) = 0;
    virtual QString labelOf(const platform::KeychainQuery &query) = 0;

    virtual void lock() = 0;
    virtual void unlock() = 0;
};

/// What every keychain keeps to.
class KeychainContract : public QObject {
    Q_OBJECT

public:
    explicit KeychainContract(Subjects<KeychainHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void anItemThatDoesNotExistIsNotFound() { QCOMPARE(keychain().copyMatching(token), notFound); }

    void whatWasAddedIsFound() {
        QCOMPARE(keychain().add(token, "secret"), KeychainStatus::success);
        QCOMPARE(keychain().copyMatching(token), found("secret"));
    }

    void whatWasAddedIsFoundByOtherPrograms() {
        QCOMPARE(keychain().add(token, "secret"), KeychainStatus::success);
        QCOMPARE(m_harness->stored(token), QByteArray("secret"));
    }

    void whatAnotherProgramWroteIsFound() {
        m_harness->place(legacyToken, "secret", u"Theirs"_s);
        QCOMPARE(keychain().copyMatching(legacyToken), found("secret"));
    }

    void itemsAreToldApartByService() {
        keychain().add(token, "new");
        keychain().add(legacyToken, "old");
        QCOMPARE(keychain().copyMatching(token), found("new"));
        QCOMPARE(keychain().copyMatching(legacyToken), found("old"));
    }

    void itemsAreToldApartByAccount() {
        keychain().add(token, "secret");
        keychain().add(device, "number");
        QCOMPARE(keychain().copyMatching(token), found("secret"));
        QCOMPARE(keychain().copyMatching(device), found("number"));
    }

    void anEmptyValueIsAValue() {
        m_harness->place(token, {}, u"Theirs"_s);
        const auto item = keychain().copyMatching(token);
        QCOMPARE(item.status, KeychainStatus::success);
        QVERIFY(item.data);
        QVERIFY(item.data->isEmpty());
    }

    void valuesComeBackByteForByte_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("text") << QByteArray("sk-0123 with spaces");
        QTest::newRow("unicode") << u"пароль \U0001F310"_s.toUtf8();
        QTest::newRow("not text") << QByteArray::fromHex("61fffe80");
        QTest::newRow("zero bytes") << QByteArray("a\0b\0", 4);
        QTest::newRow("line end") << QByteArray("a\r\n");
        QTest::newRow("long") << QByteArray(64 * 1024, 'x');
    }

    void valuesComeBackByteForByte() {
        QFETCH(const QByteArray, data);
        QCOMPARE(keychain().add(token, data), KeychainStatus::success);
        QCOMPARE(keychain().copyMatching(token), found(data));
        QCOMPARE(m_harness->stored(token), data);
    }

    void updatingChangesTheValue() {
        m_harness->place(token, "old", u"Theirs"_s);
        QCOMPARE(keychain().update(token, "new"), KeychainStatus::success);
        QCOMPARE(keychain().copyMatching(token), found("new"));
        QCOMPARE(m_harness->stored(token), QByteArray("new"));
    }

    void updatingKeepsTheLabel() {
        m_harness->place(token, "old", u"Theirs"_s);
        keychain().update(token, "new");
        QCOMPARE(m_harness->labelOf(token), u"Theirs"_s);
    }

    void updatingAnItemThatDoesNotExistMakesNone() {
        QCOMPARE(keychain().update(token, "new"), KeychainStatus::itemNotFound);
        QCOMPARE(m_harness->stored(token), std::nullopt);
    }

    void removingDeletesTheItem() {
        keychain().add(token, "secret");
        QCOMPARE(keychain().remove(token), KeychainStatus::success);
        QCOMPARE(keychain().copyMatching(token), notFound);
        QCOMPARE(m_harness->stored(token), std::nullopt);
    }

    void removingAnItemThatDoesNotExistIsNotFound() {
        QCOMPARE(keychain().remove(token), KeychainStatus::itemNotFound);
    }

    void removingLeavesOtherItems() {
        keychain().add(token, "secret");
        keychain().add(device, "number");
        keychain().remove(token);
        QCOMPARE(keychain().copyMatching(device), found("number"));
    }

    void readingALockedItemFails() {
        keychain().add(token, "secret");
        m_harness->lock();
        QCOMPARE(keychain().copyMatching(token), failed);
    }

    void readingALockedStoreFailsEvenForAnUnknownItem() {
        m_harness->lock();
        QCOMPARE(keychain().copyMatching(token), failed);
    }

    void writingToALockedStoreFails() {
        keychain().add(token, "secret");
        m_harness->lock();
        QCOMPARE(keychain().update(token, "new"), KeychainStatus::failure);
        QCOMPARE(keychain().add(device, "number"), KeychainStatus::failure);
        QCOMPARE(keychain().remove(token), KeychainStatus::failure);
        m_harness->unlock();
        QCOMPARE(m_harness->stored(token), QByteArray("secret"));
        QCOMPARE(m_harness->stored(device), std::nullopt);
    }

    void anUnlockedStoreAnswersAgain() {
        keychain().add(token, "secret");
        m_harness->lock();
        keychain().copyMatching(token);
        m_harness->unlock();
        QCOMPARE(keychain().copyMatching(token), found("secret"));
    }

private:
    using KeychainItem = platform::KeychainItem;
    using KeychainQuery = platform::KeychainQuery;
    using KeychainStatus = platform::KeychainStatus;

    static inline const KeychainQuery token{u"com.local.Quillora"_s, u"openAIClientToken"_s};
    static inline const KeychainQuery legacyToken{u"com.local.Cobaltwhisk"_s, u"openAIClientToken"_s};
    static inline const KeychainQuery device{u"com.local.Quillora"_s, u"deviceIdentifier"_s};
    static inline const KeychainItem notFound{KeychainStatus::itemNotFound, {}};
    static inline const KeychainItem failed{KeychainStatus::failure, {}};

    static KeychainItem found(const QByteArray &data) { return {KeychainStatus::success, data}; }

    platform::Keychain &keychain() { return m_harness->keychain(); }

    Subjects<KeychainHarness> m_subjects;
    std::unique_ptr<KeychainHarness> m_harness;
};

} // namespace quillora::test
