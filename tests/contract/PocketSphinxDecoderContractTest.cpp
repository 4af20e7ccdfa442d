#include "contract/DecoderContract.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "support/Recording.h"

using namespace quillora;

class PocketSphinxDecoderContractTest : public test::DecoderContract {
    Q_OBJECT

    std::unique_ptr<recognizer::Decoder> makeDecoder() override {
        const std::string folder = "/usr/share/pocketsphinx/model/en-us/";
        return recognizer::PocketSphinxEngine().load(
            {.files = {folder + "en-us", folder + "en-us.lm.bin", folder + "cmudict-en-us.dict"}});
    }
    Sound sentence() override {
        return test::Recording::of(QStringLiteral("he was not an ill disposed young man"))
            .soundOfWords()
            .samples;
    }
};

QTEST_APPLESS_MAIN(PocketSphinxDecoderContractTest)
#include "PocketSphinxDecoderContractTest.moc"
