#include "contract/SpeechRecognizersContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_platform.speech; }
    void hearSentence(platform::Recognition &recognition) override {
        recognition.endAudio();
        hearUnendedSentence(recognition);
    }
    void hearUnendedSentence(platform::Recognition &) override {
        m_platform.speech.deliver(u"he"_qs);
        m_platform.speech.deliver(u"he was"_qs);
        m_platform.speech.deliverFinal(u"he was young"_qs);
    }
    void letRecognitionsFinish() override {}

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeSpeechRecognizersContractTest : public test::SpeechRecognizersContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechRecognizersHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeSpeechRecognizersContractTest)
#include "FakeSpeechRecognizersContractTest.moc"
