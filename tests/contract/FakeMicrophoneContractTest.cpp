#include "contract/MicrophoneContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::MicrophoneHarness {
public:
    platform::Microphone &microphone() override { return m_platform.microphoneFake; }
    void lookForMicrophone() override {}
    void makeSound() override {
        m_platform.microphoneFake.speak({m_platform.microphoneFake.inputFormat, {1, 2, 3}});
    }
    void unplugMicrophone() override {
        m_platform.microphoneFake.inputFormat = {};
        m_platform.microphoneFake.startError = u"There is no microphone."_qs;
        m_platform.microphoneFake.die(u"The microphone was disconnected."_qs);
    }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeMicrophoneContractTest : public test::MicrophoneContract {
    Q_OBJECT

    std::unique_ptr<test::MicrophoneHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeMicrophoneContractTest)
#include "FakeMicrophoneContractTest.moc"
