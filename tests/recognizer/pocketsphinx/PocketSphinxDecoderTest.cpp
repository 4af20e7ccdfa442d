#include "recognizer/pocketsphinx/PocketSphinxDecoder.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "support/OwnTime.h"
#include "support/Recording.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using recognizer::PocketSphinxDecoder;
using test::Recording;

class PocketSphinxDecoderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void littleIsLeftToDecodeHoweverLongTheDictationWas() {
        const std::string folder = "/usr/share/pocketsphinx/model/en-us/";
        const auto decoder = recognizer::PocketSphinxEngine().load(
            {.files = {folder + "en-us", folder + "en-us.lm.bin", folder + "cmudict-en-us.dict"}});
        decoder->beginUtterance();
        for (int i = 0; i < 2; ++i) {
            for (const Recording &recording : Recording::all())
                decoder->accept(recording.sound().samples);
        }
        const test::OwnTime timer;
        decoder->endUtterance();
        QVERIFY(!decoder->text().empty());
        qInfo("%lld ms to decode at the end", timer.elapsed());
        QVERIFY(timer.elapsed() < 250);
    }

    void marksOfTheLibraryAreLeftOut_data() {
        QTest::addColumn<QString>("hypothesis");
        QTest::addColumn<QString>("text");
        QTest::newRow("words") << u"he was young"_s << u"he was young"_s;
        QTest::newRow("silence") << u"<s> he <sil> was </s>"_s << u"he was"_s;
        QTest::newRow("noise") << u"[NOISE] he ++UM++ was [SPEECH]"_s << u"he was"_s;
        QTest::newRow("pronunciations") << u"the(2) man(13)"_s << u"the man"_s;
        QTest::newRow("apostrophes") << u"'em i'm"_s << u"'em i'm"_s;
        QTest::newRow("nothing") << QString() << u""_s;
    }
    void marksOfTheLibraryAreLeftOut() {
        QFETCH(QString, hypothesis);
        QFETCH(QString, text);
        QCOMPARE(PocketSphinxDecoder::words(hypothesis.toStdString()), text.toStdString());
    }
};

QTEST_APPLESS_MAIN(PocketSphinxDecoderTest)
#include "PocketSphinxDecoderTest.moc"
