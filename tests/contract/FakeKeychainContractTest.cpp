#include "contract/KeychainContract.h"
#include "fakes/FakeKeychain.h"

#include <QCoreApplication>
#include <QTest>

using quillora::platform::KeychainQuery;
using quillora::test::FakeKeychain;

namespace {

class FakeKeychainHarness : public quillora::test::KeychainHarness {
public:
    quillora::platform::Keychain &keychain() override { return m_keychain; }

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
    quillora::test::CallLog m_log;
    FakeKeychain m_keychain{m_log};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::KeychainContract contract([] { return std::make_unique<FakeKeychainHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
