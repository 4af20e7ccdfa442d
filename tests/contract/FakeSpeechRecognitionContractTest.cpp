#include "contract/SpeechRecognitionContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::SpeechRecognitionHarness {
public:
    platform::SpeechRecognition &speech() override { return m_platform.speech; }
    void turn() override { m_platform.run(); }
    void hearSentence(platform::AudioBufferRecognitionRequest &request) override {
        request.endAudio();
        m_platform.speech.deliver(u"he"_qs);
        m_platform.speech.deliver(u"he was"_qs);
        m_platform.speech.deliverFinal(u"he was young"_qs);
    }
    void letRecognitionsFinish() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeSpeechRecognitionContractTest : public test::SpeechRecognitionContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechRecognitionHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeSpeechRecognitionContractTest)
#include "FakeSpeechRecognitionContractTest.moc"
