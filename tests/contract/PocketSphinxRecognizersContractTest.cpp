#include "contract/SpeechRecognizersContract.h"
#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "support/Recording.h"

using namespace quillora;

namespace {

class PocketSphinxHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        test::speak(recognition, test::Recording::of(u"he was not an ill disposed young man"_qs).sound());
    }

private:
    platform::PocketSphinxRecognizers m_recognizers{std::make_shared<platform::CaptureDrain>(),
                                                    QUILLORA_RECOGNIZER};
};

} // namespace

class PocketSphinxRecognizersContractTest : public test::SpeechRecognizersContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechRecognizersHarness> makeHarness() override {
        return std::make_unique<PocketSphinxHarness>();
    }
};

QTEST_GUILESS_MAIN(PocketSphinxRecognizersContractTest)
#include "PocketSphinxRecognizersContractTest.moc"
