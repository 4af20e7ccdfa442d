#include "contract/LoginItemContract.h"
#include "fakes/FakeLoginItem.h"

using namespace quillora;

namespace {

class FakeHarness : public test::LoginItemHarness {
public:
    platform::LoginItem &loginItem() override { return m_loginItem; }
    void switchOffElsewhere() override { m_loginItem.setEnabled(false); }
    void refuse() override { m_loginItem.isRefused = true; }

private:
    test::FakeLoginItem m_loginItem;
};

} // namespace

class FakeLoginItemContractTest : public test::LoginItemContract {
    Q_OBJECT

    std::unique_ptr<test::LoginItemHarness> makeHarness() override { return std::make_unique<FakeHarness>(); }
};

QTEST_GUILESS_MAIN(FakeLoginItemContractTest)
#include "FakeLoginItemContractTest.moc"
