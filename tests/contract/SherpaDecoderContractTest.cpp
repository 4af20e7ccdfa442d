#include "contract/DecoderContract.h"
#include "recognizer/ToneModels.h"
#include "recognizer/sherpa/SherpaEngine.h"

using namespace quillora;

class SherpaDecoderContractTest : public test::DecoderContract {
    Q_OBJECT

    std::unique_ptr<recognizer::Decoder> makeDecoder() override {
        return recognizer::SherpaEngine(test::ToneModels::libraryFolder(), test::timeThatStandsStill)
            .load(test::ToneModels::model(QUILLORA_TONE_MODEL));
    }
    Sound sentence() override { return test::ToneSpeech{.lead = 0}.say("he was not"); }
};

QTEST_APPLESS_MAIN(SherpaDecoderContractTest)
#include "SherpaDecoderContractTest.moc"
