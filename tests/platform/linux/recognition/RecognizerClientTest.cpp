#include "platform/linux/recognition/RecognizerClient.h"
#include "recognizer/FakeEngine.h"
#include "support/ChildProcess.h"
#include "support/ProcessTree.h"
#include "support/Told.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fstream>
#include <random>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::RecognizerClient;
using test::ChildProcess;
namespace FakeSpeech = test::FakeSpeech;

namespace {

using ModelState = RecognizerClient::ModelState;

const QStringList notRecognized{u"The speech could not be recognized."_s};

qsizetype descriptorCount() {
    return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System).size();
}

/// What of this process's memory others may write to, or is there for others.
QStringList sharedMemory() {
    QFile map(u"/proc/self/maps"_s);
    if (!map.open(QFile::ReadOnly))
        return {u"unknown"_s};
    const auto lines = QString::fromUtf8(map.readAll()).split(u'\n');
    return lines.filter(QRegularExpression(u"^\\S+ .w.s|/dev/shm/|/memfd:"_s));
}

/// The recognizers below this process; dead ones that nobody has collected included.
QList<test::ProcessTree::Process> processes() { return test::ProcessTree::descendants(); }

bool waitUntil(const std::function<bool()> &condition) { return ChildProcess::waitUntil(condition, 60000); }

/// One dictation, and what its handler was told.
class Dictating : public test::Told {
public:
    explicit Dictating(RecognizerClient &client) : job(client.recognize(handler())) {}

    /// In buffers as a microphone delivers them.
    void hear(const std::vector<std::int16_t> &sound) {
        constexpr std::size_t frames = 1024;
        for (std::size_t begin = 0; begin < sound.size(); begin += frames) {
            const auto end = std::min(begin + frames, sound.size());
            job->sound().add(
                {{16000, 1}, {sound.begin() + qsizetype(begin), sound.begin() + qsizetype(end)}});
        }
    }
    void end() { job->sound().end(); }

    bool hasHeard(int word) const {
        return waitUntil([this, last = u"w%1"_s.arg(word)] {
            const auto all = texts();
            return !all.isEmpty() && all.last().endsWith(last);
        });
    }

    std::shared_ptr<platform::RecognitionJob> job;
};

QString spoken(int first, int last) { return QString::fromStdString(FakeSpeech::text(first, last)); }

} // namespace

/// The program's side of recognition, with a recognizer that fails as it is told.
class RecognizerClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { writeScript({}); }
    void cleanup() {
        QVERIFY(waitUntil([] { return processes().isEmpty(); }));
    }

    void interimTextsGrowIntoTheFinalOne() {
        const auto client = loaded();
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 3));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 3));
        QCOMPARE(dictating.texts(), (QStringList{u"w1"_s, u"w1 w2"_s, u"w1 w2 w3"_s, u"w1 w2 w3"_s}));
    }

    void aWordThatIsHeardAnotherWayOnceTheNextIsThereIsRevised() {
        writeScript("2 revise");
        const auto client = loaded();
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 3));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 3));
        QCOMPARE(dictating.texts(), (QStringList{u"w1"_s, u"w1 v2"_s, u"w1 w2 w3"_s, u"w1 w2 w3"_s}));
    }

    void whatWasSettledAtAPauseStaysBeforeTheRest() {
        const auto client = loaded();
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 2));
        dictating.hear(FakeSpeech::silence(1500));
        dictating.hear(FakeSpeech::words(3, 3));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 3));
        QCOMPARE(dictating.texts(), (QStringList{u"w1"_s, u"w1 w2"_s, u"w1 w2 w3"_s, u"w1 w2 w3"_s}));
    }

    void soundThatComesBeforeTheModelIsLoadedIsKept() {
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, 20));
        dictating.end();
        client.load({model()});
        QCOMPARE(dictating.finalText(), spoken(1, 20));
    }

    void dictationsAreTakenInTheirOrder() {
        const auto client = loaded();
        Dictating first(*client), second(*client);
        second.hear(FakeSpeech::words(3, 4));
        second.end();
        first.hear(FakeSpeech::words(1, 2));
        QVERIFY(first.hasHeard(2));
        QVERIFY(second.texts().isEmpty());
        first.end();
        QCOMPARE(first.finalText(), spoken(1, 2));
        QCOMPARE(second.finalText(), spoken(3, 4));
    }

    void aCancelledDictationSaysNothingMoreAndMakesWay() {
        const auto client = loaded();
        Dictating cancelled(*client);
        cancelled.hear(FakeSpeech::words(1, 2));
        QVERIFY(cancelled.hasHeard(2));
        const auto process = processes().first().id;
        cancelled.hear(FakeSpeech::words(3, 1000));
        cancelled.job->cancel();
        const auto known = cancelled.texts();
        Dictating next(*client);
        next.hear(FakeSpeech::words(7, 8));
        next.end();
        QCOMPARE(next.finalText(), spoken(7, 8));
        for (const QString &text : next.texts()) // what is still said of the one before is not of this one
            QVERIFY2(spoken(7, 8).startsWith(text), qPrintable(text));
        QCOMPARE(processes().first().id, process);
        QCOMPARE(cancelled.texts(), known);
        QCOMPARE(cancelled.errors(), QStringList());
    }

    void oneThatIsCancelledAfterItsEndMakesWayToo() {
        const auto client = loaded();
        for (int i = 0; i < 20; ++i) {
            Dictating cancelled(*client);
            cancelled.hear(FakeSpeech::words(1, 2));
            cancelled.end();
            cancelled.job->cancel();
        }
        Dictating next(*client);
        next.hear(FakeSpeech::words(7, 8));
        next.end();
        QCOMPARE(next.finalText(), spoken(7, 8));
    }

    void noWordIsLostWhenTheProcessFails_data() {
        QTest::addColumn<QString>("fault");
        for (const auto *fault :
             {"error", "exit", "crash", "hang", "memory", "garbage", "ready", "refused", "finished", "tried"})
            QTest::newRow(fault) << fault;
    }
    void noWordIsLostWhenTheProcessFails() {
        QFETCH(QString, fault);
        writeScript("6 " + fault.toStdString());
        const auto client = loaded({.silence = 300ms});
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 3));
        dictating.hear(FakeSpeech::silence(1500));
        dictating.hear(FakeSpeech::words(4, 5));
        QVERIFY(dictating.hasHeard(5));
        writeScript({}); // the next process is well
        dictating.hear(FakeSpeech::words(6, 9));
        QVERIFY(dictating.hasHeard(9));
        dictating.hear(FakeSpeech::words(10, 11));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 11));
        QCOMPARE(dictating.errors(), QStringList());
        QCOMPARE(client->modelState(), ModelState::ready);
    }

    void noWordIsLostWhenTheProcessIsEndedFromOutside_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("killed") << SIGKILL;
        QTest::newRow("stopped") << SIGSTOP;
    }
    void noWordIsLostWhenTheProcessIsEndedFromOutside() {
        QFETCH(int, signal);
        const auto client = loaded({.silence = 300ms});
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 5));
        QVERIFY(dictating.hasHeard(5));
        signalProcess(signal);
        dictating.hear(FakeSpeech::words(6, 9));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 9));
    }

    void aSecondDeathInOneDictationIsAnError() {
        writeScript("6 exit");
        const auto client = loaded();
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 9));
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), notRecognized);
        QCOMPARE(dictating.texts().last(), spoken(1, 5));
        dictating.hear(FakeSpeech::words(10, 20)); // to nobody

        Dictating next(*client);
        next.hear(FakeSpeech::words(1, 2));
        next.end();
        QCOMPARE(next.finalText(), spoken(1, 2));
        QVERIFY(!dictating.isFinal());
        QCOMPARE(dictating.errors(), notRecognized);
    }

    void aModelThatLosesTwoDictationsInARowIsUnsuitable() {
        writeScript("6 exit");
        const auto client = loaded();
        QCOMPARE(errorsOf(*client, 9), notRecognized);
        QCOMPARE(errorsOf(*client, 9), QStringList{u"The speech model does not work on this computer."_s});
        QCOMPARE(client->modelState(), ModelState::failed);
    }

    void aWholeDictationBetweenTwoLostOnesSpeaksForTheModel() {
        writeScript("6 exit");
        const auto client = loaded();
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(errorsOf(*client, 9), notRecognized);
            QCOMPARE(errorsOf(*client, 5), QStringList());
        }
        QCOMPARE(client->modelState(), ModelState::ready);
    }

    void aDictationThatWasReleasedMeanwhileIsLostToo() {
        writeScript("3 hang");
        std::atomic<int> rejections = 0, doubts = 0;
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.silence = 300ms});
        client.load({modelThatCounts(rejections, doubts), otherModel({})});
        const auto speakShortly = [&client] {
            Dictating dictating(client);
            dictating.hear(FakeSpeech::words(1, 3));
            QVERIFY(dictating.hasHeard(2));
            dictating.end();
            dictating.job->cancel();
        };
        speakShortly();
        QVERIFY(waitUntil([] { return processes().isEmpty(); }));
        QCOMPARE(rejections, 0);
        speakShortly();
        QVERIFY(waitUntil([&] { return rejections == 1; }));
        QCOMPARE(errorsOf(client, 9), QStringList());
    }

    void whoTakesThePlaceBeginsAnew() {
        writeScript("6 exit");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(), otherModel("7 exit")});
        for (int i = 0; i < 2; ++i)
            QCOMPARE(errorsOf(client, 9), notRecognized);
        QCOMPARE(errorsOf(client, 6), QStringList());
    }

    void oneThatIsCancelledWhileItsProcessIsReplacedMakesWay() {
        const auto client = loaded();
        Dictating cancelled(*client);
        cancelled.hear(FakeSpeech::words(1, 5));
        QVERIFY(cancelled.hasHeard(5));
        signalProcess(SIGKILL);
        cancelled.job->cancel();
        QCOMPARE(errorsOf(*client, 9), QStringList());
    }

    void whoLosesASecondDictationIsReplacedInIt() {
        writeScript("6 exit");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(), otherModel({})});
        QCOMPARE(errorsOf(client, 9), notRecognized);
        QCOMPARE(errorsOf(client, 9), QStringList());
    }

    void anIdleProcessThatIsKilledIsReplacedAtTheNextPress() {
        const auto client = loaded();
        for (int i = 0; i < 4; ++i) {
            signalProcess(SIGKILL);
            QVERIFY(waitUntil([] { return processes().isEmpty(); }));
            Dictating dictating(*client);
            dictating.hear(FakeSpeech::words(1, 2));
            dictating.end();
            QCOMPARE(dictating.finalText(), spoken(1, 2));
        }
    }

    void aModelThatCannotBeLoadedFailsAndClosesTheQueue_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("description");
        QTest::newRow("missing") << u"missing"_s << u"The speech model is not there."_s;
        QTest::newRow("damaged") << u"damaged"_s << u"The speech model is damaged."_s;
        for (const auto *fault : {"error", "exit", "crash", "hang"})
            QTest::newRow(fault) << fault << u"The speech model does not work on this computer."_s;
    }
    void aModelThatCannotBeLoadedFailsAndClosesTheQueue() {
        QFETCH(QString, fault);
        QFETCH(QString, description);
        writeScript("load " + fault.toStdString());
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 300ms});
        client.load({model()});
        Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{description});
        QCOMPARE(client.modelState(), ModelState::failed);
        dictating.hear(FakeSpeech::words(1, 2));
        QVERIFY(dictating.job->sound().take().items.empty());
        Dictating next(client);
        QVERIFY(waitUntil([&] { return !next.errors().isEmpty(); }));
        QCOMPARE(next.errors(), QStringList{description});

        writeScript({});
        client.load({model()});
        Dictating last(client);
        last.hear(FakeSpeech::words(1, 2));
        last.end();
        QCOMPARE(last.finalText(), spoken(1, 2));
    }

    void aModelThatKillsTheProcessTwiceBeforeItHearsAnythingFails() {
        writeScript("1 crash");
        const auto client = loaded();
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 2));
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"The speech model does not work on this computer."_s});
        QCOMPARE(client->modelState(), ModelState::failed);
    }

    void aModelOfAWrongSizeIsNotEvenLoaded() {
        RecognizerClient client("/nonexistent");
        auto wrong = model();
        wrong.judge = [](auto, const auto &) { return platform::ModelJudgement::wrong; };
        client.load({wrong});
        const Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"The speech model is damaged."_s});
    }

    void aModelThatIsNotWholeFailsThoughItCouldBeLoaded() {
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(platform::ModelJudgement::wrong)});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::failed; }));
    }

    void aModelOfAnUnknownVersionThatKillsTheProcessTwiceIsNotCalledDamaged() {
        writeScript("load crash");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(platform::ModelJudgement::unknown)});
        const Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"The speech model does not work on this computer."_s});
    }

    void aModelThatIsNotWholeAndKillsTheProcessTwiceIsCalledDamaged() {
        writeScript("load crash");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(platform::ModelJudgement::wrong)});
        const Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"The speech model is damaged."_s});
    }

    void theNextModelTakesThePlaceOfOneThatFails() {
        writeScript("load damaged");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model(), model(), otherModel({})});
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, 2));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 2));
    }

    void withoutMemoryForTheModelTheNextDictationTriesAgain() {
        writeScript("load memory");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        std::atomic<int> rejections = 0, doubts = 0;
        client.load({modelThatCounts(rejections, doubts)});
        Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"There is not enough memory for the speech model."_s});
        QVERIFY(client.modelState() != ModelState::failed);
        QCOMPARE(rejections, 0);
        QCOMPARE(doubts, 1);
        writeScript({});
        Dictating next(client);
        next.hear(FakeSpeech::words(1, 2));
        next.end();
        QCOMPARE(next.finalText(), spoken(1, 2));
    }

    void aRecognizerWithoutMemoryCastsNoMoreThanADoubtOnItsModel_data() {
        QTest::addColumn<QString>("script");
        QTest::newRow("killed while loading") << u"load kill"_s;
        QTest::newRow("killed while decoding") << u"1 kill"_s;
        QTest::newRow("while decoding") << u"1 memory"_s;
    }
    void aRecognizerWithoutMemoryCastsNoMoreThanADoubtOnItsModel() {
        QFETCH(QString, script);
        writeScript(script.toStdString());
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        std::atomic<int> rejections = 0, doubts = 0;
        client.load({modelThatCounts(rejections, doubts), {"fake", {"/nonexistent"}}});
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, 2));
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"There is not enough memory for the speech model."_s});
        writeScript({});
        Dictating next(client);
        next.hear(FakeSpeech::words(1, 2));
        next.end();
        QCOMPARE(next.finalText(), spoken(1, 2));
        QCOMPARE(rejections, 0);
        QCOMPARE(doubts, 1);
    }

    void norDoTwoDictationsThatAreLostToThat() {
        writeScript("6 memory");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        std::atomic<int> rejections = 0, doubts = 0;
        client.load({modelThatCounts(rejections, doubts), {"fake", {"/nonexistent"}}});
        QCOMPARE(errorsOf(client, 9), notRecognized);
        QCOMPARE(errorsOf(client, 9), QStringList{u"There is not enough memory for the speech model."_s});
        QCOMPARE(rejections, 0);
        QCOMPARE(doubts, 1);
        writeScript({});
        QCOMPARE(errorsOf(client, 9), QStringList());
    }

    void aRecognizerOfAnotherVersionSaysNothingOfItsModels() {
        writeScript("load version");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        std::atomic<int> rejections = 0, doubts = 0;
        client.load({modelThatCounts(rejections, doubts), {"fake", {"/nonexistent"}}});
        QCOMPARE(errorsOf(client, 2),
                 QStringList{u"Quillora was replaced by another version: start it again."_s});
        writeScript({});
        QCOMPARE(errorsOf(client, 2), QStringList());
        QCOMPARE(rejections, 0);
        QCOMPARE(doubts, 0);
    }

    void oneDeathWhileItLoadsIsForgiven() {
        writeScript("load hang");
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({model()});
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, 9));
        dictating.end();
        QVERIFY(waitUntil([] { return processes().size() == 1; }));
        writeScript({});
        signalProcess(SIGKILL);
        QCOMPARE(dictating.finalText(), spoken(1, 9));
    }

    void aRecognizerThatCannotBeStartedSaysNothingOfItsModels() {
        const QString program = m_folder.filePath(u"recognizer"_s);
        RecognizerClient client(program.toStdString());
        std::atomic<int> rejections = 0, doubts = 0;
        client.load({modelThatCounts(rejections, doubts), {"fake", {"/nonexistent"}}});
        Dictating dictating(client);
        QVERIFY(waitUntil([&] { return !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"The speech recognizer could not be started."_s});
        QVERIFY(QFile::link(QStringLiteral(QUILLORA_FAKE_RECOGNIZER), program));
        Dictating next(client);
        next.hear(FakeSpeech::words(1, 2));
        next.end();
        QCOMPARE(next.finalText(), spoken(1, 2));
        QCOMPARE(rejections, 0);
        QCOMPARE(doubts, 0);
    }

    void anIdleProcessEndsAndTheNextPressStartsAnother() {
        const auto client = loaded({.idleness = 100ms});
        for (int i = 0; i < 3; ++i) {
            QVERIFY(waitUntil([] { return processes().isEmpty(); }));
            QCOMPARE(client->modelState(), ModelState::ready);
            Dictating dictating(*client);
            dictating.hear(FakeSpeech::words(1, 9));
            dictating.end();
            QCOMPARE(dictating.finalText(), spoken(1, 9));
        }
    }

    void aDictationIsNotIdleness() {
        const auto client = loaded({.idleness = 100ms});
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 1));
        QVERIFY(dictating.hasHeard(1));
        QVERIFY(!ChildProcess::waitUntil([] { return processes().isEmpty(); }, 500));
        dictating.hear(FakeSpeech::words(2, 2));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 2));
        QCOMPARE(dictating.errors(), QStringList());
    }

    void onlySoMuchSoundIsKeptUntilAModelIsLoaded() {
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.keptSound = 1s});
        Dictating dictating(client);
        for (int i = 1; i <= 30; ++i)
            dictating.hear(FakeSpeech::words(i, i));
        dictating.end();
        client.load({model()});
        const QString text = dictating.finalText();
        QVERIFY2(text.startsWith(u"w1 w2"_s) && !text.contains(u"w6"_s), qPrintable(text));
    }

    void theEndWaitsForNothing_data() {
        QTest::addColumn<QString>("script");
        QTest::newRow("ready") << QString();
        QTest::newRow("loading") << u"load hang"_s;
        QTest::newRow("decoding") << u"1 hang"_s;
    }
    void theEndWaitsForNothing() {
        QFETCH(QString, script);
        writeScript(script.toStdString());
        auto client = std::make_unique<RecognizerClient>(QUILLORA_FAKE_RECOGNIZER);
        client->load({model()});
        Dictating dictating(*client), next(*client);
        dictating.hear(FakeSpeech::words(1, 2));
        QVERIFY(waitUntil([] { return !processes().isEmpty(); }));
        client.reset();
        QVERIFY(waitUntil([] { return processes().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList{u"Speech recognition was ended."_s});
        QCOMPARE(next.errors(), QStringList{u"Speech recognition was ended."_s});
        dictating.hear(FakeSpeech::words(1, 2)); // to nobody
        QVERIFY(dictating.job->sound().take().items.empty());
    }

    void neitherAPressNorTheEndWaitsForAJudgement() {
        auto client = std::make_unique<RecognizerClient>(QUILLORA_FAKE_RECOGNIZER);
        std::atomic<int> judgements = 0;
        auto judged = model();
        judged.judge = [&](platform::ModelCheck check, const auto &isUnwanted) {
            if (check == platform::ModelCheck::sizes)
                return platform::ModelJudgement::right;
            ++judgements;
            while (!isUnwanted())
                std::this_thread::yield();
            return platform::ModelJudgement::wrong;
        };
        client->load({judged});
        QVERIFY(waitUntil([&] { return judgements == 1; }));
        Dictating dictating(*client);
        dictating.hear(FakeSpeech::words(1, 2));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 2));
        QVERIFY(waitUntil([&] { return judgements == 2; }));
        client.reset();
    }

    void aModelIsTriedOnceThoughItIsLoadedAgain() {
        std::atomic<int> trials = 0;
        auto tried = model();
        tried.tried = [&](std::chrono::milliseconds) { ++trials; };
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        client.load({tried});
        QVERIFY(waitUntil([&] { return trials == 1; }));
        for (const auto &process : processes())
            ::kill(pid_t(process.id), SIGKILL);
        // Another trial would come between the two.
        for (int i = 0; i < 2; ++i) {
            Dictating dictating(client);
            dictating.hear(FakeSpeech::words(1, 2));
            dictating.end();
            QCOMPARE(dictating.finalText(), spoken(1, 2));
        }
        QCOMPARE(trials, 1);
        client.load({tried});
        QVERIFY(waitUntil([&] { return trials > 1; }));
        QCOMPARE(trials, 2);
    }

    void aModelThatDecodesWholeSegmentsIsGivenTheTimeForThat() {
        writeScript("3 slow");
        auto patient = model();
        patient.longestDecoding = 1s;
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.silence = 100ms});
        client.load({patient});
        QCOMPARE(errorsOf(client, 5), QStringList());
    }

    void nobodyWaitsForATrialThatHangs() {
        writeScript("3215 hang"); // the first sound of the trial's noise
        auto tried = model();
        tried.tried = [](std::chrono::milliseconds) {};
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 10min, .trial = 300ms});
        client.load({tried});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::ready; }));
        QCOMPARE(errorsOf(client, 3), QStringList());
    }

    void aTrialThatHangsIsNoDeathOfTheDictationBehindIt() {
        writeScript("3215 hang");
        auto tried = model();
        tried.tried = [](std::chrono::milliseconds) {};
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 10min, .trial = 300ms});
        client.load({tried});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::ready; }));
        writeScript({});
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, 1));
        QVERIFY(dictating.hasHeard(1));
        signalProcess(SIGKILL); // the first one of its own
        dictating.hear(FakeSpeech::words(2, 3));
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 3));
        QCOMPARE(dictating.errors(), QStringList());
    }

    void aModelThatDiesOfItsTrialTwiceIsUnsuitable_data() {
        QTest::addColumn<std::string>("script");
        for (const std::string fault : {"exit", "crash", "hang"})
            QTest::newRow(fault.c_str()) << "3215 " + fault;
        QTest::newRow("nonsense before it begins") << std::string("load ready");
    }
    void aModelThatDiesOfItsTrialTwiceIsUnsuitable() {
        QFETCH(const std::string, script);
        writeScript(script);
        std::atomic<int> rejections = 0, doubts = 0;
        auto tried = modelThatCounts(rejections, doubts);
        tried.tried = [](std::chrono::milliseconds) {};
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 300ms});
        client.load({tried});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::failed; }));
        QCOMPARE(rejections, 1); // which comes before
        QCOMPARE(doubts, 0);
    }

    void aModelThatDiesOfItsTrialOnceIsTriedAgain() {
        writeScript("3215 hang");
        std::atomic<int> rejections = 0, doubts = 0, trials = 0;
        auto tried = modelThatCounts(rejections, doubts);
        tried.tried = [&](std::chrono::milliseconds) { ++trials; };
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 2s});
        client.load({tried});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::ready; }));
        writeScript({});
        QVERIFY(waitUntil([&] { return trials == 1; }));
        QCOMPARE(rejections, 0);
    }

    void aDeathBeforeATrialThatWentWellIsForgiven() {
        writeScript("3215 hang");
        std::atomic<int> trials = 0;
        auto tried = model();
        tried.tried = [&](std::chrono::milliseconds) { ++trials; };
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER, {.loading = 2s});
        client.load({tried});
        QVERIFY(waitUntil([&] { return client.modelState() == ModelState::ready; }));
        writeScript({});
        QVERIFY(waitUntil([&] { return trials == 1; }));
        Dictating dictating(client);
        signalProcess(SIGKILL);
        dictating.hear(FakeSpeech::words(1, 3));
        dictating.end();
        QVERIFY(waitUntil([&] { return dictating.isFinal() || !dictating.errors().isEmpty(); }));
        QCOMPARE(dictating.errors(), QStringList());
        QCOMPARE(dictating.finalText(), spoken(1, 3));
    }

    void aTrialWaitsForThoseWhoDictate() {
        std::atomic<int> trials = 0;
        auto tried = model();
        tried.tried = [&](std::chrono::milliseconds) { ++trials; };
        RecognizerClient client(QUILLORA_FAKE_RECOGNIZER);
        Dictating dictating(client);
        client.load({tried});
        dictating.hear(FakeSpeech::words(1, 2));
        QVERIFY(dictating.hasHeard(2));
        QCOMPARE(trials, 0);
        dictating.end();
        QCOMPARE(dictating.finalText(), spoken(1, 2));
        QVERIFY(waitUntil([&] { return trials == 1; }));
    }

    void thatAKernelCannotConfineTheRecognizerIsSaidOnce() {
        static std::atomic<int> warnings; // a message handler has nothing of its own
        warnings = 0;
        const auto before =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
                if (message == u"This kernel cannot confine the speech recognizer; it works without that.")
                    ++warnings;
            });
        for (int i = 0; i < 2; ++i) {
            RecognizerClient client(QUILLORA_OLD_KERNEL);
            client.load({model()});
            QCOMPARE(errorsOf(client, 2), QStringList());
        }
        qInstallMessageHandler(before);
        QCOMPARE(warnings, 1);
    }

    void afterKillsAtAnyMomentNothingIsLostOrLeft() {
        const int dictations = qEnvironmentVariableIntValue("QUILLORA_KILLS") > 0
                                   ? qEnvironmentVariableIntValue("QUILLORA_KILLS")
                                   : 20;
        const auto before = descriptorCount();
        const auto sharedBefore = sharedMemory();
        std::mt19937 random(1);
        {
            const auto client = loaded();
            for (int i = 0; i < dictations; ++i) {
                if (random() % 4 == 0)
                    replaceProcess(); // so that the next one still loads when the person begins
                Dictating dictating(*client);
                const int words = 5 + int(random() % 20);
                // The first one is before a word, the last one after the end.
                const auto moment = int(random() % unsigned(words + 2));
                if (moment == 0)
                    killProcesses();
                for (int word = 1; word <= words; ++word) {
                    dictating.hear(FakeSpeech::words(word, word));
                    if (random() % 4 == 0)
                        dictating.hear(FakeSpeech::silence(1200));
                    if (word == moment) {
                        if (random() % 2 == 0)
                            dictating.hasHeard(word);
                        killProcesses();
                    }
                }
                dictating.end();
                if (moment > words)
                    replaceProcess();
                QCOMPARE(dictating.finalText(), spoken(1, words));
                QCOMPARE(dictating.errors(), QStringList());
                QVERIFY(processes().size() <= 1);
            }
        }
        QVERIFY(waitUntil([] { return processes().isEmpty(); }));
        QCOMPARE(descriptorCount(), before);
        QCOMPARE(sharedMemory(), sharedBefore);
    }

private:
    void writeScript(const std::string &script) const { std::ofstream(m_script) << script; }
    platform::RecognizerModel
    model(platform::ModelJudgement judgement = platform::ModelJudgement::right) const {
        return {"fake", {m_script}, [judgement](platform::ModelCheck check, const auto &) {
                    return check == platform::ModelCheck::sizes ? platform::ModelJudgement::right : judgement;
                }};
    }

    /// With a script of its own.
    platform::RecognizerModel otherModel(const std::string &script) const {
        const std::string path = m_folder.filePath(u"other"_s).toStdString();
        std::ofstream(path) << script;
        return {"fake", {path}};
    }

    platform::RecognizerModel modelThatCounts(std::atomic<int> &rejections, std::atomic<int> &doubts) const {
        auto counting = model();
        counting.reject = [&rejections](const QString &) { ++rejections; };
        counting.doubt = [&doubts] { ++doubts; };
        return counting;
    }

    std::unique_ptr<RecognizerClient> loaded(RecognizerClient::Limits limits = {}) const {
        auto client = std::make_unique<RecognizerClient>(QUILLORA_FAKE_RECOGNIZER, limits);
        client->load({model()});
        if (!waitUntil([&] { return client->modelState() == ModelState::ready; }))
            throw std::runtime_error("the fake model was not loaded");
        return client;
    }

    /// Where one is gone and the next has not been started there is none to kill.
    static void killProcesses() {
        for (const auto &process : processes())
            ::kill(pid_t(process.id), SIGKILL);
    }

    /// Between two dictations: what dies before one is no death in it.
    static void replaceProcess() {
        const auto before = processes();
        killProcesses();
        const auto isCollected = [&before] {
            return std::ranges::none_of(before,
                                        [](const auto &one) { return ::kill(pid_t(one.id), 0) == 0; });
        };
        if (!waitUntil(isCollected))
            throw std::runtime_error("a dead process was not collected");
    }

    /// What becomes of a dictation of so many words.
    static QStringList errorsOf(RecognizerClient &client, int words) {
        Dictating dictating(client);
        dictating.hear(FakeSpeech::words(1, words));
        dictating.end();
        static_cast<void>(dictating.finalText());
        return dictating.errors();
    }

    static void signalProcess(int number) {
        QVERIFY(waitUntil([] { return processes().size() == 1; }));
        QCOMPARE(::kill(pid_t(processes().first().id), number), 0);
    }

    QTemporaryDir m_folder;
    const std::string m_script = m_folder.filePath(u"script"_s).toStdString();
};

QTEST_GUILESS_MAIN(RecognizerClientTest)
#include "RecognizerClientTest.moc"
