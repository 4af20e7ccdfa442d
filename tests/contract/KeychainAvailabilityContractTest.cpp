#include "contract/KeychainAvailabilityContract.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeKeychainAvailability.h"
#include "fakes/FakeMainQueue.h"
#include "platform/linux/keyring/SecretServiceAvailability.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/KeyringPrompter.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;
using test::PrivateKeyring;
using test::PrivateSessionBus;

namespace {

class FakeHarness : public test::KeychainAvailabilityHarness {
public:
    FakeHarness() { m_keychain.isBroken = true; }

    platform::KeychainAvailability &availability() override { return m_availability; }
    platform::Keychain &keychain() override { return m_keychain; }

    void appear() override { unlock(); }
    void lock() override { m_keychain.isBroken = true; }
    void unlock() override {
        m_keychain.isBroken = false;
        m_availability.becomeAvailable();
    }
    void seatUser() override {}
    bool isAsking() override { return m_availability.isAsking(); }
    void unlockWhenAsked() override { m_availability.unlockWhenAsked(); }
    void dismissQuestion() override { m_availability.dismissQuestion(); }
    void settle() override {} // the observer is called at once

private:
    test::CallLog m_log;
    test::FakeKeychain m_keychain{m_log};
    test::FakeKeychainAvailability m_availability{m_keychain};
};

class SecretServiceAvailabilityHarness : public test::KeychainAvailabilityHarness {
public:
    explicit SecretServiceAvailabilityHarness(const PrivateSessionBus &bus)
        : m_bus(bus), m_availability(m_keychain, m_queue, bus.connection()) {}
    ~SecretServiceAvailabilityHarness() override { m_keyring->end(); }

    platform::KeychainAvailability &availability() override { return m_availability; }
    platform::Keychain &keychain() override { return m_keychain; }

    void appear() override { m_keyring.emplace(m_bus); }
    void lock() override { m_keyring->lock(); }
    void unlock() override { m_keyring->unlock(); }

    void seatUser() override { m_prompter.emplace(m_bus); }
    bool isAsking() override { return m_prompter->isAsking(); }
    void unlockWhenAsked() override { m_prompter->answer(PrivateKeyring::password); }
    void dismissQuestion() override { m_prompter->dismiss(); }

    void settle() override { m_keyring->settle(); }

private:
    const PrivateSessionBus &m_bus;
    std::optional<PrivateKeyring> m_keyring;
    std::optional<test::KeyringPrompter> m_prompter;
    test::FakeMainQueue m_queue;
    platform::SecretServiceKeychain m_keychain;
    platform::SecretServiceAvailability m_availability;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const PrivateSessionBus bus;
    bus.install();
    test::KeychainAvailabilityContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"SecretServiceAvailability",
          [&] { return std::make_unique<SecretServiceAvailabilityHarness>(bus); }}});
    return QTest::qExec(&contract, argc, argv);
}
