#include "contract/AudioEngineContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::AudioEngineHarness {
public:
    std::unique_ptr<platform::AudioEngine> makeEngine() override {
        auto engine = m_platform.speech.makeAudioEngine();
        if (!m_isPluggedIn) {
            m_platform.speech.audioEngine->format = {};
            m_platform.speech.audioEngine->startError = u"There is no microphone to record from."_qs;
        }
        return engine;
    }
    void makeSound() override {
        m_platform.speech.audioEngine->speak({m_platform.speech.audioEngine->format, {1, 2, 3}});
    }
    void unplugMicrophone() override { m_isPluggedIn = false; }

private:
    test::FakePlatform m_platform;
    bool m_isPluggedIn = true;
};

} // namespace

class FakeAudioEngineContractTest : public test::AudioEngineContract {
    Q_OBJECT

    std::unique_ptr<test::AudioEngineHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeAudioEngineContractTest)
#include "FakeAudioEngineContractTest.moc"
