#pragma once

#include "contract/Subjects.h"
#include "platform/Keychain.h"

#include <QObject>

#include <memory>

namespace quillora::test {

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

    void anItemThatDoesNotExistIsNotFound();
    void whatWasAddedIsFound();
    void whatWasAddedIsFoundByOtherPrograms();
    void whatAnotherProgramWroteIsFound();
    void itemsAreToldApartByService();
    void itemsAreToldApartByAccount();
    void anEmptyValueIsAValue();
    void valuesComeBackByteForByte_data();
    void valuesComeBackByteForByte();
    void updatingChangesTheValue();
    void updatingKeepsTheLabel();
    void updatingAnItemThatDoesNotExistMakesNone();
    void removingDeletesTheItem();
    void removingAnItemThatDoesNotExistIsNotFound();
    void removingLeavesOtherItems();
    void readingALockedItemFails();
    void readingALockedStoreFailsEvenForAnUnknownItem();
    void writingToALockedStoreFails();
    void anUnlockedStoreAnswersAgain();

private:
    platform::Keychain &keychain() { return m_harness->keychain(); }

    Subjects<KeychainHarness> m_subjects;
    std::unique_ptr<KeychainHarness> m_harness;
};

} // namespace quillora::test
