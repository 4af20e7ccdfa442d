#include "contract/FirstStartContract.h"
#include "fakes/FakeFirstStart.h"

using namespace quillora;
using namespace quillora::test;

namespace {

class FakeHarness : public FirstStartHarness {
public:
    platform::FirstStart &firstStart() override { return m_firstStart; }
    void startAgain() override {}

private:
    FakeFirstStart m_firstStart;
};

} // namespace

class FakeFirstStartContractTest : public FirstStartContract {
    Q_OBJECT

    std::unique_ptr<FirstStartHarness> makeHarness() override { return std::make_unique<FakeHarness>(); }
};

QTEST_GUILESS_MAIN(FakeFirstStartContractTest)
#include "FakeFirstStartContractTest.moc"
