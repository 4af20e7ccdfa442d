#include "contract/SpeechRecognizersContract.h"
#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "support/Recording.h"

#include <atomic>

using namespace quillora;

namespace {

class PocketSphinxHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearSentence(platform::Recognition &recognition) override {
        hearUnendedSentence(recognition);
        recognition.endAudio();
    }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        test::speak(recognition, test::Recording::of(u"he was not an ill disposed young man"_qs).sound());
    }
    /// The recognizer takes one after the other: when a later one is through, so are the earlier ones.
    void letRecognitionsFinish() override {
        const auto isFinal = std::make_shared<std::atomic<bool>>(false);
        const auto recognition =
            m_recognizers.makeRecognizer(u"en-US"_qs)->recognize([isFinal](const auto &, const auto &) {
                *isFinal = true;
            });
        recognition->endAudio();
        test::ChildProcess::waitUntil([&] { return isFinal->load(); }, 30000);
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
