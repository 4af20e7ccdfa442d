#include "platform/linux/recognition/PocketSphinxDecoder.h"
#include "recognition/ModelFolder.h"
#include "recognition/SpeechDesktop.h"
#include "support/ChildProcess.h"
#include "support/OwnTime.h"
#include "support/Recording.h"
#include "support/WordErrorRate.h"

#include <QDir>
#include <QTest>

#include <mutex>

using namespace quillora;
using platform::AudioBuffer;
using platform::PocketSphinxData;
using platform::PocketSphinxDecoder;
using test::ChildProcess;
using test::ModelFolder;
using test::Recording;
using test::SpeechDesktop;
using test::WordErrorRate;

namespace {

/// No sound server is needed here, so none is looked for.
const std::string noServer = "unix:/nonexistent";

const QString sentence = u"he was not an ill disposed young man"_qs;

qsizetype threadCount() {
    return QDir(u"/proc/self/task"_qs).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

void appendInBuffers(platform::AudioBufferRecognitionRequest &request, const AudioBuffer &sound) {
    constexpr size_t frames = 1024;
    for (size_t begin = 0; begin < sound.samples.size(); begin += frames) {
        const auto end = std::min(begin + frames, sound.samples.size());
        request.append({sound.format,
                        {sound.samples.begin() + qsizetype(begin), sound.samples.begin() + qsizetype(end)}});
    }
}

/// One recognition and what its handler was told.
class Listening {
public:
    explicit Listening(SpeechDesktop &desktop) : request(desktop.recognition.makeBufferRequest()) {
        request->shouldReportPartialResults = true;
        const auto recognizer = desktop.recognition.makeRecognizer(u"en-US"_qs);
        task = recognizer->recognitionTask(request, [told = m_told](const auto &result, const auto &error) {
            const std::lock_guard lock(told->mutex);
            if (result)
                told->results.push_back(*result);
            if (error)
                told->errors << error->errorDescription();
        });
    }

    void hear(const AudioBuffer &sound) { appendInBuffers(*request, sound); }

    QString finalText() const {
        ChildProcess::waitUntil([this] { return isFinal() || !errors().isEmpty(); }, 60000);
        return isFinal() ? results().back().formattedString : QString();
    }
    bool isFinal() const { return !results().empty() && results().back().isFinal; }
    std::vector<platform::RecognitionResult> results() const {
        const std::lock_guard lock(m_told->mutex);
        return m_told->results;
    }
    QStringList errors() const {
        const std::lock_guard lock(m_told->mutex);
        return m_told->errors;
    }

    std::shared_ptr<platform::AudioBufferRecognitionRequest> request;
    std::unique_ptr<platform::RecognitionTask> task;

private:
    struct Told {
        std::mutex mutex;
        std::vector<platform::RecognitionResult> results;
        QStringList errors;
    };
    std::shared_ptr<Told> m_told = std::make_shared<Told>();
};

void waitForModel(SpeechDesktop &desktop) {
    Listening listening(desktop);
    listening.request->endAudio();
    listening.finalText();
}

} // namespace

class PocketSphinxRecognitionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void soundThatComesBeforeTheModelIsLoadedIsNotLost() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.request->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
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
        SpeechDesktop desktop(noServer);
        const auto errorsIn = [&](const AudioBuffer &sound) {
            Listening listening(desktop);
            listening.hear(sound);
            listening.request->endAudio();
            return WordErrorRate::of(listening.finalText(), spoken).errors;
        };
        const auto errorsAlone = errorsIn(alone), errorsTogether = errorsIn(together);
        QVERIFY2(errorsTogether <= errorsAlone,
                 qPrintable(u"%1 words are wrong, %2 alone"_qs.arg(errorsTogether).arg(errorsAlone)));
    }

    void interimTextsGrowIntoTheFinalOne() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.request->endAudio();
        const auto text = listening.finalText();
        const auto results = listening.results();
        QVERIFY(results.size() > 3);
        for (size_t i = 0; i + 1 < results.size(); ++i) {
            QVERIFY(!results[i].isFinal);
            QVERIFY(i == 0 || results[i] != results[i - 1]);
        }
        QCOMPARE(text, results.back().formattedString);
        QVERIFY(results.back().isFinal);
    }

    void withoutTheWishForInterimTextsOnlyTheFinalOneComes() {
        SpeechDesktop desktop(noServer);
        const auto request = desktop.recognition.makeBufferRequest();
        std::atomic<int> interim = 0, final = 0;
        const auto task = desktop.recognition.makeRecognizer(u"en-US"_qs)
                              ->recognitionTask(request, [&](const auto &result, const auto &) {
                                  ++(result->isFinal ? final : interim);
                              });
        appendInBuffers(*request, Recording::of(sentence).sound());
        request->endAudio();
        QTRY_COMPARE_WITH_TIMEOUT(final.load(), 1, 30000);
        QCOMPARE(interim.load(), 0);
    }

    void silenceIsAnEmptyFinalText() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.hear({{48000, 2}, std::vector<qint16>(2 * 48000, 0)});
        listening.request->endAudio();
        QCOMPARE(listening.finalText(), u""_qs);
        QVERIFY(listening.isFinal());
    }

    void noSoundAtAllIsAnEmptyFinalText() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.request->endAudio();
        QCOMPARE(listening.finalText(), u""_qs);
        QVERIFY(listening.isFinal());
    }

    void onePressAfterTheOtherIsRecognized() {
        SpeechDesktop desktop(noServer);
        for (int i = 0; i < 3; ++i) {
            Listening listening(desktop);
            listening.hear(Recording::of(sentence).sound());
            listening.request->endAudio();
            QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
        }
    }

    void littleIsLeftToDecodeHoweverLongTheDictationWas() {
        PocketSphinxDecoder decoder(*PocketSphinxData::find(PocketSphinxData::standardFolders()), {});
        decoder.beginUtterance();
        for (int i = 0; i < 2; ++i) {
            for (const Recording &recording : Recording::all())
                decoder.accept(recording.sound().samples);
        }
        const test::OwnTime timer;
        decoder.endUtterance();
        QVERIFY(!decoder.text().isEmpty());
        qInfo("%lld ms to decode at the end", timer.elapsed());
        QVERIFY(timer.elapsed() < 250);
    }

    void aCancelledRecognitionSaysNothingMore() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.task->cancel();
        listening.request->endAudio();
        waitForModel(desktop);
        QVERIFY(!listening.isFinal());
        QCOMPARE(listening.errors(), QStringList());
    }

    void aCancelledRecognitionMakesWayAtOnce() {
        SpeechDesktop desktop(noServer);
        waitForModel(desktop);
        Listening cancelled(desktop);
        for (int i = 0; i < 20; ++i)
            cancelled.hear(Recording::of(sentence).sound());
        cancelled.task->cancel();
        const test::OwnTime timer;
        Listening next(desktop);
        next.request->endAudio();
        next.finalText();
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    }

    void droppingTheTaskDoesNotEndTheRecognition() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.task.reset();
        listening.hear(Recording::of(sentence).sound());
        listening.request->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
    }

    void droppingTheRequestEndsTheSound() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.request.reset();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
    }

    void theSoundEndsOnlyWhenWhatWasCapturedIsHandedOver() {
        SpeechDesktop desktop(noServer);
        Listening listening(desktop);
        auto hold = std::make_unique<platform::CaptureDrain::Hold>(desktop.connection->drain());
        listening.request->endAudio();
        listening.hear(Recording::of(sentence).sound());
        QVERIFY(!listening.isFinal());
        hold.reset();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
    }

    void endingEverythingTellsWhatIsUnderWay() {
        auto desktop = std::make_unique<SpeechDesktop>(noServer);
        Listening first(*desktop);
        Listening second(*desktop);
        first.hear(Recording::of(sentence).sound());
        desktop.reset();
        QCOMPARE(first.errors().size(), 1);
        QCOMPARE(second.errors().size(), 1);
        QVERIFY(!first.isFinal());
    }

    void endingEverythingWhileTheModelIsLoadedLeavesNoThread() {
        const auto before = threadCount();
        for (int i = 0; i < 5; ++i)
            SpeechDesktop desktop(noServer);
        QCOMPARE(threadCount(), before);
    }

    void aHandleThatOutlivesTheRecognitionIsUnavailable() {
        auto desktop = std::make_unique<SpeechDesktop>(noServer);
        const auto recognizer = desktop->recognition.makeRecognizer(u"en-US"_qs);
        desktop.reset();
        QVERIFY(!recognizer->isAvailable());
    }

    void anUnansweredQuestionIsLetGoAtTheEnd() {
        auto desktop = std::make_unique<SpeechDesktop>(noServer);
        const auto witness = std::make_shared<int>();
        desktop->recognition.requestMicrophoneAccess([witness](bool) {});
        desktop.reset();
        QCOMPARE(witness.use_count(), 1L);
    }

    void withoutDataNothingIsSupported() {
        const QTemporaryDir empty;
        SpeechDesktop desktop(noServer, {empty.path()});
        QCOMPARE(desktop.recognition.supportedLocales(), QStringList());
        QVERIFY(!desktop.recognition.makeRecognizer(u"en-US"_qs));
    }

    void dataThatIsCutShortMakesTheRecognizerUnavailableUntilItIsRepaired() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_qs, 100000);
        SpeechDesktop desktop(noServer, {folder.path()});
        QCOMPARE(desktop.recognition.supportedLocales(), QStringList{u"en-US"_qs});
        const auto isAvailable = [&] {
            return desktop.recognition.makeRecognizer(u"en-US"_qs)->isAvailable();
        };
        QTRY_VERIFY(!isAvailable());
        QVERIFY(!isAvailable());

        folder.repair(u"en-us/mdef"_qs);
        QVERIFY(isAvailable());
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.request->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
    }

    void aRecognitionThatWaitsForABrokenModelIsTold() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_qs, 1000);
        SpeechDesktop desktop(noServer, {folder.path()});
        Listening listening(desktop);
        QTRY_COMPARE(listening.errors(), QStringList{u"The speech model could not be loaded."_qs});
    }

    void aLoadedModelNeedsItsDataNoMore() {
        const ModelFolder folder;
        SpeechDesktop desktop(noServer, {folder.path()});
        waitForModel(desktop);
        for (const auto &name : {u"en-us/sendump"_qs, u"en-us/mdef"_qs, u"en-us.lm.bin"_qs})
            folder.truncate(name, 10);
        folder.remove(u"cmudict-en-us.dict"_qs);
        QCOMPARE(desktop.recognition.supportedLocales(), QStringList{u"en-US"_qs});
        Listening listening(desktop);
        listening.hear(Recording::of(sentence).sound());
        listening.request->endAudio();
        QVERIFY(listening.finalText().startsWith(u"he was not"_qs));
    }

    void dataInstalledLaterIsFound() {
        const ModelFolder folder;
        folder.remove(u"en-us.lm.bin"_qs);
        SpeechDesktop desktop(noServer, {folder.path()});
        QVERIFY(!desktop.recognition.makeRecognizer(u"en-US"_qs));
        folder.repair(u"en-us.lm.bin"_qs);
        QVERIFY(desktop.recognition.makeRecognizer(u"en-US"_qs)->isAvailable());
    }

    void marksOfTheLibraryAreLeftOut_data() {
        QTest::addColumn<QString>("hypothesis");
        QTest::addColumn<QString>("text");
        QTest::newRow("words") << u"he was young"_qs << u"he was young"_qs;
        QTest::newRow("silence") << u"<s> he <sil> was </s>"_qs << u"he was"_qs;
        QTest::newRow("noise") << u"[NOISE] he ++UM++ was [SPEECH]"_qs << u"he was"_qs;
        QTest::newRow("pronunciations") << u"the(2) man(13)"_qs << u"the man"_qs;
        QTest::newRow("apostrophes") << u"'em i'm"_qs << u"'em i'm"_qs;
        QTest::newRow("nothing") << QString() << u""_qs;
    }
    void marksOfTheLibraryAreLeftOut() {
        QFETCH(QString, hypothesis);
        QFETCH(QString, text);
        QCOMPARE(PocketSphinxDecoder::words(hypothesis), text);
    }
};

QTEST_GUILESS_MAIN(PocketSphinxRecognitionTest)
#include "PocketSphinxRecognitionTest.moc"
