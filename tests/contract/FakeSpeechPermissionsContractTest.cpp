#include "contract/SpeechPermissionsContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::SpeechPermissionsHarness {
public:
    platform::SpeechPermissions &permissions() override { return m_platform.permissions; }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeSpeechPermissionsContractTest : public test::SpeechPermissionsContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechPermissionsHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeSpeechPermissionsContractTest)
#include "FakeSpeechPermissionsContractTest.moc"
