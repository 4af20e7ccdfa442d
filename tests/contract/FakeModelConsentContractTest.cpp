#include "contract/ModelConsentContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return m_platform.consent; }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeModelConsentContractTest : public test::ModelConsentContract {
    Q_OBJECT

    std::unique_ptr<test::ModelConsentHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeModelConsentContractTest)
#include "FakeModelConsentContractTest.moc"
