#include "contract/KeychainContract.h"
#include "fakes/FakeKeychain.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::KeychainQuery;
using test::FakeKeychain;
using test::PrivateKeyring;
using test::PrivateSessionBus;

namespace {

class FakeHarness : public test::KeychainHarness {
public:
    platform::Keychain &keychain() override { return m_keychain; }

    void place(const KeychainQuery &query, const QByteArray &data, const QString &label) override {
        m_keychain.items[{query.service, query.account}] = {data, label};
    }
    std::optional<QByteArray> stored(const KeychainQuery &query) override {
        const auto found = m_keychain.items.find({query.service, query.account});
        return found == m_keychain.items.end() ? std::nullopt : found->second.data;
    }
    QString labelOf(const KeychainQuery &query) override {
        return m_keychain.items.at({query.service, query.account}).label;
    }
    void lock() override { m_keychain.isBroken = true; }
    void unlock() override { m_keychain.isBroken = false; }

private:
    test::CallLog m_log;
    FakeKeychain m_keychain{m_log};
};

class SecretServiceKeychainHarness : public test::KeychainHarness {
public:
    explicit SecretServiceKeychainHarness(const PrivateSessionBus &bus) : m_keyring(bus) {}
    ~SecretServiceKeychainHarness() override { m_keyring.end(); }

    platform::Keychain &keychain() override { return m_keychain; }

    void place(const KeychainQuery &query, const QByteArray &data, const QString &label) override {
        m_keyring.store({label, attributes(query), data});
    }
    std::optional<QByteArray> stored(const KeychainQuery &query) override {
        const auto items = m_keyring.find(attributes(query));
        return items.isEmpty() ? std::nullopt : std::optional(items.first().data);
    }
    QString labelOf(const KeychainQuery &query) override {
        return m_keyring.find(attributes(query)).value(0).label;
    }
    void lock() override { m_keyring.lock(); }
    void unlock() override { m_keyring.unlock(); }

private:
    static PrivateKeyring::Attributes attributes(const KeychainQuery &query) {
        return {{u"service"_s, query.service}, {u"account"_s, query.account}};
    }

    PrivateKeyring m_keyring;
    platform::SecretServiceKeychain m_keychain;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const PrivateSessionBus bus;
    bus.install();
    test::KeychainContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"SecretServiceKeychain", [&] { return std::make_unique<SecretServiceKeychainHarness>(bus); }}});
    return QTest::qExec(&contract, argc, argv);
}
