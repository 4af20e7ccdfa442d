#include "contract/KeychainAvailabilityContract.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeKeychainAvailability.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;

namespace {

class FakeKeychainAvailabilityHarness : public test::KeychainAvailabilityHarness {
public:
    FakeKeychainAvailabilityHarness() { m_keychain.isBroken = true; }

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

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeychainAvailabilityContract contract(
        [] { return std::make_unique<FakeKeychainAvailabilityHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
