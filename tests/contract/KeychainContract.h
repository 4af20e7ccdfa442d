#pragma once

#include "platform/Keychain.h"

#include <QObject>

#include <functional>
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
    using MakeHarness = std::function<std::unique_ptr<KeychainHarness>()>;

    explicit KeychainContract(MakeHarness make) : m_make(std::move(make)) {}

private Q_SLOTS:
    void init() { m_harness = m_make(); }
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

    MakeHarness m_make;
    std::unique_ptr<KeychainHarness> m_harness;
};

} // namespace quillora::test
