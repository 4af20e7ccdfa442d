#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "platform/linux/recognition/ModelFolder.h"
#include "support/ChildProcess.h"
#include "support/OwnTime.h"
#include "support/Recording.h"
#include "support/Told.h"
#include "support/WordErrorRate.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::AudioBuffer;
using platform::PocketSphinxRecognizers;
using test::ChildProcess;
using test::ModelFolder;
using test::Recording;
using test::WordErrorRate;

namespace {

const QString sentence = u"he was not an ill disposed young man"_s;

qsizetype threadCount() {
    return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

/// One recognition and what its handler was told.
class Listening : public test::Told {
public:
    explicit Listening(PocketSphinxRecognizers &recognizers)
        : recognition(recognizers.makeRecognizer(u"en-US"_s)->recognize(handler())) {}

    void hear(const AudioBuffer &sound) const { test::speak(*recognition, sound); }

    std::shared_ptr<platform::Recognition> recognition;
};

void waitForModel(PocketSphinxRecognizers &recognizers) {
    const Listening listening(recognizers);
    listening.recognition->endAudio();
    listening.finalText();
}

} // namespace

class PocketSphinxRecognizersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void soundThatComesBeforeTheModelIsLoadedIsNotLost() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

    void noWordIsLostWhereTheNextTalkerHasAnotherMicrophone() {
        constexpr size_t channels = 8;
        AudioBuffer alone{{16000, 1}, {}}, together{{16000, channels}, {}};
        QString spoken;
        size_t live = 2;
        for (const auto &recording : {Recording::of(sentence), Recording::all().back()}) {
            spoken += recording.spoken + u' ';
            for (const qint16 sample : recording.sound().samples) {
                alone.samples.push_back(sample);
                for (size_t channel = 0; channel < channels; ++channel) {
                    const auto hiss = qint16(together.samples.size() * 7 % 5);
                    together.samples.push_back(channel == live ? sample : hiss);
                }
            }
            live = live == 2 ? 5 : 2;
        }
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        const auto errorsIn = [&](const AudioBuffer &sound) {
            Listening listening(recognizers);
            listening.hear(sound);
            listening.recognition->endAudio();
            return WordErrorRate::of(listening.finalText(), spoken).errors;
        };
        const auto errorsAlone = errorsIn(alone), errorsTogether = errorsIn(together);
        QVERIFY2(errorsTogether <= errorsAlone,
                 qPrintable(u"%1 words are wrong, %2 alone"_s.arg(errorsTogether).arg(errorsAlone)));
    }

    void interimTextsGrowIntoTheFinalOne() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->endAudio();
        const auto text = listening.finalText();
        const auto results = listening.results();
        QVERIFY(results.size() > 3);
        for (size_t i = 0; i + 1 < results.size(); ++i) {
            QVERIFY(!results[i].isFinal);
            QVERIFY(i == 0 || results[i] != results[i - 1]);
        }
        QCOMPARE(text, results.back().text);
        QVERIFY(results.back().isFinal);
    }

    void silenceIsAnEmptyFinalText() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.hear({{48000, 2}, std::vector<qint16>(2 * 48000, 0)});
        listening.recognition->endAudio();
        QCOMPARE(listening.finalText(), u""_s);
        QVERIFY(listening.isFinal());
    }

    void noSoundAtAllIsAnEmptyFinalText() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.recognition->endAudio();
        QCOMPARE(listening.finalText(), u""_s);
        QVERIFY(listening.isFinal());
    }

    void onePressAfterTheOtherIsRecognized() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        for (int i = 0; i < 3; ++i) {
            Listening listening(recognizers);
            listening.hear(Recording::of(sentence).sound());
            listening.recognition->endAudio();
            QVERIFY(listening.finalText().startsWith(u"he was not"_s));
        }
    }

    void aCancelledRecognitionSaysNothingMore() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->cancel();
        listening.recognition->endAudio();
        waitForModel(recognizers);
        QVERIFY(!listening.isFinal());
        QCOMPARE(listening.errors(), QStringList());
    }

    void aCancelledRecognitionMakesWayAtOnce() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        waitForModel(recognizers);
        Listening cancelled(recognizers);
        for (int i = 0; i < 20; ++i)
            cancelled.hear(Recording::of(sentence).sound());
        cancelled.recognition->cancel();
        const test::OwnTime timer; // all of that would take twice as long as this, on a machine of its own
        Listening next(recognizers);
        next.recognition->endAudio();
        next.finalText();
        QVERIFY2(timer.elapsed() < 4000, qPrintable(QString::number(timer.elapsed())));
    }

    void droppingTheRecognitionEndsTheSound() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition.reset();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

    void theSoundEndsOnlyWhenWhatWasCapturedIsHandedOver() {
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
        Listening listening(recognizers);
        auto hold = std::make_unique<platform::CaptureDrain::Hold>(m_drain);
        listening.recognition->endAudio();
        listening.hear(Recording::of(sentence).sound());
        QVERIFY(!listening.isFinal());
        hold.reset();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

    void endingEverythingTellsWhatIsUnderWay() {
        auto recognizers = std::make_unique<PocketSphinxRecognizers>(m_drain, QUILLORA_RECOGNIZER);
        Listening first(*recognizers);
        Listening second(*recognizers);
        first.hear(Recording::of(sentence).sound());
        recognizers.reset();
        QCOMPARE(first.errors().size(), 1);
        QCOMPARE(second.errors().size(), 1);
        QVERIFY(!first.isFinal());
    }

    void endingEverythingWhileTheModelIsLoadedLeavesNoThread() {
        const auto before = threadCount();
        for (int i = 0; i < 5; ++i) {
            PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER);
            recognizers.prepare(u"en-US"_s);
            QVERIFY(threadCount() > before);
        }
        QTRY_COMPARE(threadCount(), before);
    }

    void aHandleThatOutlivesTheRecognitionIsUnavailable() {
        auto recognizers = std::make_unique<PocketSphinxRecognizers>(m_drain, QUILLORA_RECOGNIZER);
        const auto recognizer = recognizers->makeRecognizer(u"en-US"_s);
        recognizers.reset();
        QVERIFY(!recognizer->isAvailable());
    }

    void withoutDataNothingIsSupported() {
        const QTemporaryDir empty;
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {empty.path()});
        QCOMPARE(recognizers.supportedLocales(), QStringList());
        QVERIFY(!recognizers.makeRecognizer(u"en-US"_s));
    }

    void dataThatIsCutShortMakesTheRecognizerUnavailableUntilItIsRepaired() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_s, 100000);
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {folder.path()});
        QCOMPARE(recognizers.supportedLocales(), QStringList{u"en-US"_s});
        const auto isAvailable = [&] { return recognizers.makeRecognizer(u"en-US"_s)->isAvailable(); };
        QTRY_VERIFY(!isAvailable());
        QVERIFY(!isAvailable());

        folder.repair(u"en-us/mdef"_s);
        QVERIFY(isAvailable());
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

    void aRecognitionThatWaitsForABrokenModelIsTold() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_s, 1000);
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {folder.path()});
        Listening listening(recognizers);
        QTRY_COMPARE(listening.errors(), QStringList{u"The speech model is damaged."_s});
    }

    void aLoadedModelNeedsItsDataNoMore() {
        const ModelFolder folder;
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {folder.path()});
        waitForModel(recognizers);
        for (const auto &name : {u"en-us/sendump"_s, u"en-us/mdef"_s, u"en-us.lm.bin"_s})
            folder.truncate(name, 10);
        folder.remove(u"cmudict-en-us.dict"_s);
        QCOMPARE(recognizers.supportedLocales(), QStringList{u"en-US"_s});
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

    void dataInstalledLaterIsFound() {
        const ModelFolder folder;
        folder.remove(u"en-us.lm.bin"_s);
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {folder.path()});
        QVERIFY(!recognizers.makeRecognizer(u"en-US"_s));
        folder.repair(u"en-us.lm.bin"_s);
        QVERIFY(recognizers.makeRecognizer(u"en-US"_s)->isAvailable());
    }

    void aBrokenCopyDoesNotHideAGoodOne() {
        const ModelFolder broken, good;
        broken.truncate(u"en-us.lm.bin"_s, 20000000);
        PocketSphinxRecognizers recognizers(m_drain, QUILLORA_RECOGNIZER, {broken.path(), good.path()});
        Listening listening(recognizers);
        listening.hear(Recording::of(sentence).sound());
        listening.recognition->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_s));
    }

private:
    const std::shared_ptr<platform::CaptureDrain> m_drain = std::make_shared<platform::CaptureDrain>();
};

QTEST_GUILESS_MAIN(PocketSphinxRecognizersTest)
#include "PocketSphinxRecognizersTest.moc"
