#include "contract/SpeechRecognitionContract.h"
#include "recognition/SpeechDesktop.h"
#include "support/Recording.h"

#include <atomic>

using namespace quillora;

namespace {

class PocketSphinxHarness : public test::SpeechRecognitionHarness {
public:
    platform::SpeechRecognition &speech() override { return m_desktop.recognition; }
    void turn() override {} // the test's own event loop turns
    void hearSentence(platform::AudioBufferRecognitionRequest &request) override {
        const auto sound = test::Recording::of(u"he was not an ill disposed young man"_qs).sound();
        constexpr size_t frames = 1024;
        for (size_t begin = 0; begin < sound.samples.size(); begin += frames) {
            const auto from = sound.samples.begin() + qsizetype(begin);
            const auto count = qsizetype(std::min(frames, sound.samples.size() - begin));
            request.append({sound.format, {from, from + count}});
        }
        request.endAudio();
    }
    /// The recognizer takes one after the other: when a later one is through, so are the earlier ones.
    void letRecognitionsFinish() override {
        const auto request = m_desktop.recognition.makeBufferRequest();
        std::atomic<bool> isFinal = false;
        const auto task = m_desktop.recognition.makeRecognizer(u"en-US"_qs)
                              ->recognitionTask(request, [&](const auto &, const auto &) { isFinal = true; });
        request->endAudio();
        test::ChildProcess::waitUntil([&] { return isFinal.load(); }, 30000);
    }

private:
    test::SpeechDesktop m_desktop{"unix:/nonexistent"};
};

} // namespace

class PocketSphinxRecognitionContractTest : public test::SpeechRecognitionContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechRecognitionHarness> makeHarness() override {
        return std::make_unique<PocketSphinxHarness>();
    }
};

QTEST_GUILESS_MAIN(PocketSphinxRecognitionContractTest)
#include "PocketSphinxRecognitionContractTest.moc"
