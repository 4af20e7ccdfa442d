#include "contract/KeychainContract.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora::test;
using quillora::platform::KeychainQuery;

namespace {

class SecretServiceKeychainHarness : public KeychainHarness {
public:
    explicit SecretServiceKeychainHarness(const PrivateSessionBus &bus) : m_keyring(bus) {}
    ~SecretServiceKeychainHarness() override { m_keyring.end(); }

    quillora::platform::Keychain &keychain() override { return m_keychain; }

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
        return {{u"service"_qs, query.service}, {u"account"_qs, query.account}};
    }

    PrivateKeyring m_keyring;
    quillora::platform::SecretServiceKeychain m_keychain;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const PrivateSessionBus bus;
    bus.install();
    KeychainContract contract([&] { return std::make_unique<SecretServiceKeychainHarness>(bus); });
    return QTest::qExec(&contract, argc, argv);
}
