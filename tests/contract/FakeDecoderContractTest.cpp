#include "contract/DecoderContract.h"
#include "recognizer/FakeEngine.h"

using namespace quillora;

class FakeDecoderContractTest : public test::DecoderContract {
    Q_OBJECT

    std::unique_ptr<recognizer::Decoder> makeDecoder() override { return test::FakeEngine().load({}); }
    Sound sentence() override { return test::FakeSpeech::words(1, 5); }
};

QTEST_APPLESS_MAIN(FakeDecoderContractTest)
#include "FakeDecoderContractTest.moc"
