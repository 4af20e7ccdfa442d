#include "contract/SpeechRecognizersContract.h"
#include "platform/linux/recognition/ProcessRecognizer.h"
#include "recognizer/FakeEngine.h"

using namespace quillora;

namespace {

/// The recognizer's process with the fake engine in it.
class FakeEngineRecognizers : public platform::SpeechRecognizers {
public:
    FakeEngineRecognizers() { m_client->load({{"fake", {}}}); }

    QStringList supportedLocales() const override { return {u"en-US"_qs}; }
    std::unique_ptr<platform::SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override {
        if (!supportedLocales().contains(localeIdentifier))
            return nullptr;
        return std::make_unique<platform::ProcessRecognizer>(m_client,
                                                             std::make_shared<platform::CaptureDrain>());
    }

private:
    const std::shared_ptr<platform::RecognizerClient> m_client =
        std::make_shared<platform::RecognizerClient>(QUILLORA_FAKE_RECOGNIZER);
};

class FakeEngineHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        recognition.append({{16000, 1}, test::FakeSpeech::words(1, 5)});
    }

private:
    FakeEngineRecognizers m_recognizers;
};

} // namespace

class FakeEngineRecognizersContractTest : public test::SpeechRecognizersContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechRecognizersHarness> makeHarness() override {
        return std::make_unique<FakeEngineHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeEngineRecognizersContractTest)
#include "FakeEngineRecognizersContractTest.moc"
