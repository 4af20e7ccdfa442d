#pragma once

#include "fakes/FakeKeychain.h"
#include "platform/KeychainAvailability.h"

namespace quillora::test {

class FakeKeychainAvailability : public platform::KeychainAvailability {
public:
    explicit FakeKeychainAvailability(const FakeKeychain &keychain) : m_keychain(keychain) {}

    int failedChangeCount() const override { return m_keychain.failedChangeCount; }
    void setObserver(Observer observer) override { m_observer = std::move(observer); }

    /// The keyring appears, or the user unlocks it.
    void becomeAvailable() {
        if (const Observer observer = m_observer) // a copy: the observer may replace itself
            observer();
    }
    bool isObserved() const { return bool(m_observer); }

private:
    const FakeKeychain &m_keychain;
    Observer m_observer;
};

} // namespace quillora::test
