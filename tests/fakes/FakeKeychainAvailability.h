#pragma once

#include "fakes/FakeKeychain.h"
#include "platform/KeychainAvailability.h"

namespace quillora::test {

class FakeKeychainAvailability : public platform::KeychainAvailability {
public:
    explicit FakeKeychainAvailability(FakeKeychain &keychain) : m_keychain(keychain) {}

    void setObserver(Observer observer) override { m_observer = std::move(observer); }

    /// The keyring appears, or the user unlocks it.
    void becomeAvailable() {
        if (const Observer observer = m_observer) // a copy: the observer may replace itself
            observer();
    }
    bool isObserved() const { return bool(m_observer); }

    void askToUnlock(Answered answered) override {
        if (m_keychain.isBroken)
            m_answered = std::move(answered);
        m_isAsking = m_keychain.isBroken;
    }

    /// What the user is asked, and how he answers.
    bool isAsking() const { return m_isAsking; }
    void unlockWhenAsked() {
        m_keychain.isBroken = false;
        becomeAvailable();
        dismissQuestion();
    }
    void dismissQuestion() {
        m_isAsking = false;
        if (const auto answered = std::exchange(m_answered, {}))
            answered();
    }

private:
    FakeKeychain &m_keychain;
    Observer m_observer;
    bool m_isAsking = false;
    Answered m_answered;
};

} // namespace quillora::test
