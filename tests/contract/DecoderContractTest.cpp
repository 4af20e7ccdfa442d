#include "contract/DecoderContract.h"
#include "recognizer/FakeEngine.h"
#include "recognizer/ToneModels.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "recognizer/sherpa/SherpaEngine.h"
#include "support/Recording.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
namespace ToneModels = test::ToneModels;

namespace {

class FakeHarness : public test::DecoderHarness {
public:
    std::unique_ptr<recognizer::Decoder> makeDecoder() override { return test::FakeEngine().load({}); }
    Sound sentence() override { return test::FakeSpeech::words(1, 5); }
};

class PocketSphinxHarness : public test::DecoderHarness {
public:
    std::unique_ptr<recognizer::Decoder> makeDecoder() override {
        const std::string folder = "/usr/share/pocketsphinx/model/en-us/";
        return recognizer::PocketSphinxEngine().load(
            {.files = {folder + "en-us", folder + "en-us.lm.bin", folder + "cmudict-en-us.dict"}});
    }
    Sound sentence() override {
        return test::Recording::of(u"he was not an ill disposed young man"_s).soundOfWords().samples;
    }
};

class SherpaHarness : public test::DecoderHarness {
public:
    explicit SherpaHarness(recognizer::Open model) : m_model(std::move(model)) {}

    std::unique_ptr<recognizer::Decoder> makeDecoder() override {
        return recognizer::SherpaEngine(test::ToneModels::libraryFolder(), test::timeThatStandsStill)
            .load(m_model);
    }
    Sound sentence() override { return test::ToneSpeech{.lead = 0}.say("he was not"); }

private:
    const recognizer::Open m_model;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::DecoderContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"PocketSphinxDecoder", [] { return std::make_unique<PocketSphinxHarness>(); }},
         {"SherpaDecoder, streaming",
          [] { return std::make_unique<SherpaHarness>(ToneModels::model("streaming-nemo-ctc")); }},
         {"SherpaDecoder, offline",
          [] { return std::make_unique<SherpaHarness>(ToneModels::model("offline-nemo-ctc")); }},
         {"SherpaDecoder, offline, with a detector", [] {
              return std::make_unique<SherpaHarness>(
                  ToneModels::withDetector(ToneModels::model("offline-nemo-ctc")));
          }}});
    return QTest::qExec(&contract, argc, argv);
}
