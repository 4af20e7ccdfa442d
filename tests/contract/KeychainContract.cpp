#include "contract/KeychainContract.h"

#include <QTest>

namespace quillora::test {

using platform::KeychainItem;
using platform::KeychainQuery;
using platform::KeychainStatus;

namespace {

const KeychainQuery token{u"com.local.Quillora"_qs, u"openAIClientToken"_qs};
const KeychainQuery legacyToken{u"com.local.Cobaltwhisk"_qs, u"openAIClientToken"_qs};
const KeychainQuery device{u"com.local.Quillora"_qs, u"deviceIdentifier"_qs};

KeychainItem found(const QByteArray &data) { return {KeychainStatus::success, data}; }
const KeychainItem notFound{KeychainStatus::itemNotFound, {}};
const KeychainItem failed{KeychainStatus::failure, {}};

} // namespace

void KeychainContract::anItemThatDoesNotExistIsNotFound() {
    QCOMPARE(keychain().copyMatching(token), notFound);
}

void KeychainContract::whatWasAddedIsFound() {
    QCOMPARE(keychain().add(token, "secret"), KeychainStatus::success);
    QCOMPARE(keychain().copyMatching(token), found("secret"));
}

void KeychainContract::whatWasAddedIsFoundByOtherPrograms() {
    QCOMPARE(keychain().add(token, "secret"), KeychainStatus::success);
    QCOMPARE(m_harness->stored(token), QByteArray("secret"));
}

void KeychainContract::whatAnotherProgramWroteIsFound() {
    m_harness->place(legacyToken, "secret", u"Theirs"_qs);
    QCOMPARE(keychain().copyMatching(legacyToken), found("secret"));
}

void KeychainContract::itemsAreToldApartByService() {
    keychain().add(token, "new");
    keychain().add(legacyToken, "old");
    QCOMPARE(keychain().copyMatching(token), found("new"));
    QCOMPARE(keychain().copyMatching(legacyToken), found("old"));
}

void KeychainContract::itemsAreToldApartByAccount() {
    keychain().add(token, "secret");
    keychain().add(device, "number");
    QCOMPARE(keychain().copyMatching(token), found("secret"));
    QCOMPARE(keychain().copyMatching(device), found("number"));
}

void KeychainContract::anEmptyValueIsAValue() {
    m_harness->place(token, {}, u"Theirs"_qs);
    const auto item = keychain().copyMatching(token);
    QCOMPARE(item.status, KeychainStatus::success);
    QVERIFY(item.data);
    QVERIFY(item.data->isEmpty());
}

void KeychainContract::valuesComeBackByteForByte_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("text") << QByteArray("sk-0123 with spaces");
    QTest::newRow("unicode") << u"пароль \U0001F310"_qs.toUtf8();
    QTest::newRow("not text") << QByteArray::fromHex("61fffe80");
    QTest::newRow("zero bytes") << QByteArray("a\0b\0", 4);
    QTest::newRow("line end") << QByteArray("a\r\n");
    QTest::newRow("long") << QByteArray(64 * 1024, 'x');
}

void KeychainContract::valuesComeBackByteForByte() {
    QFETCH(const QByteArray, data);
    QCOMPARE(keychain().add(token, data), KeychainStatus::success);
    QCOMPARE(keychain().copyMatching(token), found(data));
    QCOMPARE(m_harness->stored(token), data);
}

void KeychainContract::updatingChangesTheValue() {
    m_harness->place(token, "old", u"Theirs"_qs);
    QCOMPARE(keychain().update(token, "new"), KeychainStatus::success);
    QCOMPARE(keychain().copyMatching(token), found("new"));
    QCOMPARE(m_harness->stored(token), QByteArray("new"));
}

void KeychainContract::updatingKeepsTheLabel() {
    m_harness->place(token, "old", u"Theirs"_qs);
    keychain().update(token, "new");
    QCOMPARE(m_harness->labelOf(token), u"Theirs"_qs);
}

void KeychainContract::updatingAnItemThatDoesNotExistMakesNone() {
    QCOMPARE(keychain().update(token, "new"), KeychainStatus::itemNotFound);
    QCOMPARE(m_harness->stored(token), std::nullopt);
}

void KeychainContract::removingDeletesTheItem() {
    keychain().add(token, "secret");
    QCOMPARE(keychain().remove(token), KeychainStatus::success);
    QCOMPARE(keychain().copyMatching(token), notFound);
    QCOMPARE(m_harness->stored(token), std::nullopt);
}

void KeychainContract::removingAnItemThatDoesNotExistIsNotFound() {
    QCOMPARE(keychain().remove(token), KeychainStatus::itemNotFound);
}

void KeychainContract::removingLeavesOtherItems() {
    keychain().add(token, "secret");
    keychain().add(device, "number");
    keychain().remove(token);
    QCOMPARE(keychain().copyMatching(device), found("number"));
}

void KeychainContract::readingALockedItemFails() {
    keychain().add(token, "secret");
    m_harness->lock();
    QCOMPARE(keychain().copyMatching(token), failed);
}

void KeychainContract::readingALockedStoreFailsEvenForAnUnknownItem() {
    m_harness->lock();
    QCOMPARE(keychain().copyMatching(token), failed);
}

void KeychainContract::writingToALockedStoreFails() {
    keychain().add(token, "secret");
    m_harness->lock();
    QCOMPARE(keychain().update(token, "new"), KeychainStatus::failure);
    QCOMPARE(keychain().add(device, "number"), KeychainStatus::failure);
    QCOMPARE(keychain().remove(token), KeychainStatus::failure);
    m_harness->unlock();
    QCOMPARE(m_harness->stored(token), QByteArray("secret"));
    QCOMPARE(m_harness->stored(device), std::nullopt);
}

void KeychainContract::anUnlockedStoreAnswersAgain() {
    keychain().add(token, "secret");
    m_harness->lock();
    keychain().copyMatching(token);
    m_harness->unlock();
    QCOMPARE(keychain().copyMatching(token), found("secret"));
}

} // namespace quillora::test
