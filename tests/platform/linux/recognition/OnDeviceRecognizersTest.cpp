#include "platform/linux/recognition/OnDeviceRecognizers.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/recognition/InstalledToneModel.h"
#include "recognizer/protocol/SherpaFiles.h"
#include "support/Files.h"
#include "support/ProcessTree.h"
#include "support/Recording.h"
#include "support/Told.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fstream>
#include <utility>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::ModelTask;
using platform::OnDeviceRecognizers;
using Presence = platform::ModelState::Presence;
using test::ChildProcess;
using test::InstalledDetector;
using test::InstalledToneModel;
using test::ToneSpeech;
namespace ToneModels = test::ToneModels;

namespace {

const QString german = u"de-DE"_s;

/// A store, routes and what came with the system, all of them fakes; the models and the process are real.
struct Ground {
    explicit Ground(std::string program = QUILLORA_UNHURRIED_RECOGNIZER)
        : recognizers{std::make_shared<platform::CaptureDrain>(),
                      std::move(program),
                      platform.models,
                      platform.routes,
                      {platform.speech, [this](const QString &) { return systemModels; }},
                      platform.queue} {
        for (auto *model : {&nemo, &chinese})
            platform.models.offer(model->description());
        for (const auto &locale : {german, u"en-US"_s})
            platform.routes.offer(ModelTask::hearing(locale), {nemo.description().id});
        platform.routes.offer(ModelTask::hearing(u"zh-CN"_s), {chinese.description().id});
    }

    template <typename Model>
    void install(const Model &model) {
        platform.models.place(model.description().id, u"1"_s, model.folder());
        platform.run();
    }

    void downloadAndInstall(const InstalledToneModel &model) {
        platform.models.install(model.description().id);
        platform.run();
        platform.models.arrive(model.folder());
        platform.run();
    }

    /// What was asked of the model, such as "use".
    bool wasAsked(const QString &what, const InstalledToneModel &model) {
        const auto calls = platform.log.calls();
        return std::ranges::any_of(calls, [begin = u"models.%1 %2"_s.arg(what, model.description().id)](
                                              const QString &call) { return call.startsWith(begin); });
    }

    bool waitUntil(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(
            [&] {
                platform.run();
                return condition();
            },
            30000);
    }

    template <typename Model>
    bool waitFor(const Model &model, Presence presence) {
        return waitUntil([&] { return platform.models.state(model.description().id).presence == presence; });
    }

    test::FakePlatform platform;
    InstalledToneModel nemo{u"streaming-nemo-transducer"_s, {u"de"_s, u"en"_s}};
    InstalledToneModel chinese{u"streaming-zipformer-ctc"_s, {u"zh"_s}, "chinese"};
    std::vector<platform::RecognizerModel> systemModels;
    OnDeviceRecognizers recognizers;
};

/// The library ends the process that reads such a file.
void spoil(const InstalledToneModel &model) {
    std::ofstream(model.folder().toStdString() + "/tokens.txt") << "a b c d";
}

/// One recognition and what its handler was told.
class Listening : public test::Told {
public:
    Listening(Ground &ground, const QString &locale)
        : recognition(ground.recognizers.makeRecognizer(locale)->recognize(handler())) {}

    QString hear(std::string_view words) {
        listenTo(ToneSpeech().say(words));
        return end();
    }

    /// Two words with noise between them, which goes on at least until the first word shows.
    QString hearTwoWordsAroundNoise() {
        const auto shows = [this] { return texts().contains(u"ab"_s); };
        listenTo(ToneSpeech().say("ab"));
        for (int i = 0; i < 100 && !shows(); ++i) {
            listenTo(ToneSpeech::knock(1));
            ChildProcess::waitUntil(shows, 400); // as long as that sounds
        }
        listenTo(ToneSpeech::knock(5));
        listenTo(ToneSpeech{.lead = 0}.say("cd"));
        return end();
    }

    std::shared_ptr<platform::Recognition> recognition;

private:
    void listenTo(const std::vector<std::int16_t> &sound) {
        test::speak(*recognition, {{recognizer::sampleRate, 1}, sound});
    }
    QString end() {
        recognition->endAudio();
        return finalText();
    }
};

/// Where a model may take the place of another, in Swiss German.
struct GroundOfReplacements : Ground {
    GroundOfReplacements() {
        platform.models.offer(next.description());
        platform.routes.offer(ModelTask::hearing(u"de-CH"_s), {nemo.description().id, next.description().id});
        install(next);
        install(nemo);
    }

    InstalledToneModel next{u"offline-nemo-ctc"_s, {u"de"_s}};
};

/// Where whole segments are heard, in Swiss German, and a detector could be had.
struct GroundOfSegments : Ground {
    explicit GroundOfSegments(std::string program = QUILLORA_UNHURRIED_RECOGNIZER)
        : Ground(std::move(program)) {
        platform.models.offer(offline.description());
        platform.models.offer(detector.description());
        platform.routes.offer(ModelTask::hearing(u"de-CH"_s), {offline.description().id});
        platform.routes.offer(ModelTask::tellingPauses(), {detector.description().id});
        install(offline);
    }

    /// Without a blank, unless the noise between them is known to be a pause.
    QString hearTwoWordsAroundNoise() { return Listening(*this, u"de-CH"_s).hearTwoWordsAroundNoise(); }

    platform::ModelState stateOfDetector() const { return platform.models.state(detector.description().id); }

    InstalledToneModel offline{u"offline-nemo-ctc"_s, {u"de"_s}};
    InstalledDetector detector;
};

qsizetype processCount() { return test::ProcessTree::descendants().size(); }

/// As one ends that has had nothing to do for long, and has been tried before.
void endProcess(Ground &ground, const InstalledToneModel &model) {
    QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, model); }));
    const auto processes = test::ProcessTree::descendants();
    QCOMPARE(processes.size(), 1);
    QCOMPARE(::kill(pid_t(processes.first().id), SIGKILL), 0);
    QVERIFY(ChildProcess::waitUntil([] { return processCount() == 0; }, 30000));
}

void setTime(const QString &path) {
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(1000), QFileDevice::FileModificationTime));
}

} // namespace

class OnDeviceRecognizersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() {
        QVERIFY(ChildProcess::waitUntil([] { return processCount() == 0; }, 30000));
    }

    void whateverCouldBeHeardIsSupported() {
        Ground ground;
        QCOMPARE(ground.recognizers.supportedLocales(), (QStringList{u"en-US"_s, german, u"zh-CN"_s}));
    }

    void aRegionThatOnlyAModelNamesIsSupportedBehindTheOthers() {
        Ground ground;
        auto swiss = ground.nemo.description();
        swiss.id = u"swiss"_s;
        swiss.languages = {u"de-CH"_s, u"de"_s, german, u"de-AT"_s, u"zh-Hant-TW"_s, u"fr-CA"_s};
        auto austrian = swiss;
        austrian.id = u"austrian"_s;
        austrian.languages = {u"de-AT"_s};
        for (const auto &model : {swiss, austrian})
            ground.platform.models.offer(model);
        for (const auto &locale : {u"de-AT"_s, u"de-CH"_s, u"zh-Hant-TW"_s})
            ground.platform.routes.offer(ModelTask::hearing(locale), {swiss.id});
        QCOMPARE(ground.recognizers.supportedLocales(),
                 (QStringList{u"en-US"_s, german, u"zh-CN"_s, u"de-CH"_s, u"de-AT"_s, u"zh-Hant-TW"_s}));
    }

    void whatIsNoLocaleIsNotSupportedWhateverAModelSays() {
        Ground ground;
        auto model = ground.nemo.description();
        model.languages = {u"sv"_s, u"de-ch"_s, u"de-CH-1996"_s, u"deutsch"_s};
        ground.platform.models.offer(model);
        for (const QString &code : model.languages)
            ground.platform.routes.offer(ModelTask::hearing(code), {model.id});
        QCOMPARE(ground.recognizers.supportedLocales(), (QStringList{u"en-US"_s, german, u"zh-CN"_s}));
    }

    void aPairOfLanguagesIsNoLocaleThatIsHeard() {
        Ground ground;
        auto model = ground.nemo.description();
        model.id = u"translation"_s;
        model.kind = platform::ModelKind::translation;
        model.languages = {u"fr-CA"_s, u"en"_s};
        ground.platform.models.offer(model);
        ground.platform.routes.offer(ModelTask::hearing(u"fr-CA"_s), {ground.nemo.description().id});
        QCOMPARE(ground.recognizers.supportedLocales(), (QStringList{u"en-US"_s, german, u"zh-CN"_s}));
    }

    void aModelThatIsNotInstalledIsUnavailable() {
        Ground ground;
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
        QVERIFY(!ground.recognizers.makeRecognizer(u"fr-FR"_s));
    }

    void aModelThatArrivesIsUsableAtOnce() {
        Ground ground;
        ground.recognizers.prepare(german);
        QCOMPARE(processCount(), 0);
        ground.install(ground.nemo);
        QVERIFY(ChildProcess::waitUntil([] { return processCount() == 1; }, 30000));
        QVERIFY(ground.recognizers.makeRecognizer(german)->isAvailable());
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
    }

    void aModelIsToldTheLanguageItHears() {
        Ground ground;
        ground.nemo.description().parameters[u"language"_s] = u"per-stream"_s;
        ground.platform.models.offer(ground.nemo.description());
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, u"en-US"_s).hear("hello"), u"hello"_s);
        // Its German writes every letter as the next one.
        QCOMPARE(Listening(ground, german).hear("hello"), u"ifmmp"_s);
    }

    void aDictationThatAnotherLanguageOvertakesGoesOnToItsEnd() {
        Ground ground;
        ground.install(ground.nemo);
        ground.install(ground.chinese);
        Listening first(ground, german);
        ground.recognizers.prepare(u"zh-CN"_s);
        QCOMPARE(Listening(ground, u"zh-CN"_s).hear("ab"), u"\u4E01\u4E02"_s);
        QCOMPARE(first.hear("hello"), u"hello"_s);
        QVERIFY(ground.waitUntil([] { return processCount() == 1; }));
    }

    void whatCameWithTheSystemHearsWhereTheRoutesSaySo() {
        Ground ground;
        ground.platform.routes.comesWithSystem(ModelTask::hearing(u"en-US"_s));
        ground.recognizers.prepare(u"en-US"_s);
        QCOMPARE(ground.platform.speech.prepared, QStringList{u"en-US"_s});
        QVERIFY(ground.recognizers.makeRecognizer(u"en-US"_s)->isAvailable());
        QCOMPARE(ground.platform.log.calls().last(), u"recognizers.makeRecognizer en-US"_s);
    }

    void aModelThatIsDamagedIsUnavailableUntilItIsRepaired() {
        Ground ground;
        ground.install(ground.nemo);
        ground.platform.models.damage(ground.nemo.description().id,
                                      u"\"tokens.txt\" is not as it was installed."_s);
        ground.platform.run();
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
    }

    void aModelThatCannotBeLoadedIsLookedAtByTheStore() {
        Ground ground;
        spoil(ground.nemo);
        ground.install(ground.nemo);
        ground.platform.models.damageSecretly(ground.nemo.description().id, u"\"tokens.txt\" has changed."_s);
        QCOMPARE(Listening(ground, german).hear("hello"), QString());
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
        QVERIFY(ground.waitFor(ground.nemo, Presence::damaged));
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
    }

    void theNextModelTakesThePlaceOfOneThatCannotBeLoadedAndHearsEveryWord() {
        Ground ground;
        spoil(ground.nemo);
        InstalledToneModel next(u"offline-nemo-ctc"_s, {u"de"_s});
        ground.platform.models.offer(next.description());
        ground.platform.routes.offer(ModelTask::hearing(u"de-CH"_s),
                                     {ground.nemo.description().id, next.description().id});
        ground.install(next);
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("hello world"), u"hello world"_s);
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
        QCOMPARE(ground.platform.models.state(ground.nemo.description().id).problem,
                 u"The speech model does not work on this computer."_s);
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("hello"), u"hello"_s);
    }

    void aModelWithoutMemoryForItIsLookedAtByTheStoreAndNotRejected() {
        const QTemporaryDir folder;
        const QString program = folder.filePath(u"recognizer"_s);
        test::writeFile(program, "#!/bin/sh\nkill -KILL $$\n");
        QVERIFY(QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        GroundOfSegments ground(program.toStdString());
        ground.install(ground.detector);
        Listening listening(ground, u"de-CH"_s);
        QVERIFY(ground.waitUntil([&] { return !listening.errors().isEmpty(); }));
        QCOMPARE(listening.errors(), QStringList{u"There is not enough memory for the speech model."_s});
        const auto isChecked = [&](const auto &model) {
            return ground.platform.log.calls().contains(u"models.check "_s + model.description().id);
        };
        QVERIFY(ground.waitUntil([&] { return isChecked(ground.offline) && isChecked(ground.detector); }));
        QVERIFY(ground.platform.models.state(ground.offline.description().id).isInstalled());
        QVERIFY(ground.stateOfDetector().isInstalled());
    }

    void whatTookThePlaceOfAnotherLeavesOnceTheDictationIsOver() {
        Ground ground;
        const QString swiss = u"de-CH"_s;
        spoil(ground.nemo);
        InstalledToneModel next(u"offline-nemo-ctc"_s, {u"de"_s});
        const QString id = next.description().id;
        ground.platform.models.offer(next.description());
        ground.platform.routes.offer(ModelTask::hearing(swiss), {ground.nemo.description().id, id});
        ground.install(next);
        ground.install(ground.nemo);
        Listening listening(ground, swiss);
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
        ground.platform.models.remove(id);
        ground.platform.run();
        QVERIFY(ground.platform.models.state(id).isLeaving);
        QCOMPARE(listening.hear("hello"), u"hello"_s);
        QVERIFY(ground.waitFor(next, Presence::absent));
    }

    void aReplacementThatIsNotNeededLeavesAfterTheDictationAndDisturbsItNot() {
        GroundOfReplacements ground;
        ground.recognizers.prepare(u"de-CH"_s);
        Listening listening(ground, u"de-CH"_s);
        ground.platform.log.clear();
        ground.platform.models.remove(ground.next.description().id);
        ground.platform.run();
        QVERIFY(!ground.platform.log.calls().contains(u"models.use "_s + ground.nemo.description().id));
        QCOMPARE(listening.hear("hello"), u"hello"_s);
        QVERIFY(ground.waitFor(ground.next, Presence::absent));
    }

    void theOldVersionOfAModelIsLetGoOf() {
        Ground ground;
        ground.install(ground.nemo);
        ground.recognizers.prepare(german);
        ground.platform.log.clear();
        ground.platform.models.place(ground.nemo.description().id, u"2"_s, ground.nemo.folder());
        ground.platform.run();
        QVERIFY(ground.wasAsked(u"use"_s, ground.nemo));
    }

    void theOldVersionOfAReplacementIsLetGoOf() {
        GroundOfReplacements ground;
        ground.recognizers.prepare(u"de-CH"_s);
        ground.platform.log.clear();
        ground.platform.models.place(ground.next.description().id, u"2"_s, ground.next.folder());
        ground.platform.run();
        QVERIFY(ground.platform.log.calls().contains(u"models.use "_s + ground.next.description().id));
    }

    void aReplacementThatIsNotNeededLeavesAtOnce() {
        GroundOfReplacements ground;
        ground.recognizers.prepare(u"de-CH"_s);
        ground.platform.models.remove(ground.next.description().id);
        QVERIFY(ground.waitFor(ground.next, Presence::absent));
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("hello"), u"hello"_s);
    }

    void whatCameWithTheSystemTakesThePlaceOfAModelThatCannotBeLoaded() {
        Ground ground;
        const QString american = u"en-US"_s;
        spoil(ground.nemo);
        const auto system = ToneModels::model("streaming-zipformer-ctc");
        ground.systemModels.push_back({system.engine, system.files});
        ground.systemModels.back().parameters = system.parameters;
        ground.platform.routes.comesWithSystem(ModelTask::hearing(american));
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, american).hear("hello"), u"hello"_s);
        ground.recognizers.prepare(american);
        QVERIFY(ground.platform.speech.prepared.isEmpty());
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
        ground.platform.run();
        QCOMPARE(ground.platform.speech.prepared, QStringList{american});
        ground.recognizers.makeRecognizer(american);
        QCOMPARE(ground.platform.log.calls().last(), u"recognizers.makeRecognizer en-US"_s);
    }

    void theChosenModelIsLoadedAtTheChoice() {
        Ground ground;
        InstalledToneModel chosen(u"streaming-zipformer-ctc"_s, {u"de"_s}, "thai");
        chosen.description().id = u"chosen"_s;
        ground.platform.models.offer(chosen.description());
        const auto task = ModelTask::hearing(u"de-CH"_s);
        ground.platform.routes.offer(task, {ground.nemo.description().id, u"chosen"_s});
        ground.install(ground.nemo);
        ground.install(chosen);
        ground.recognizers.prepare(u"de-CH"_s);
        ground.platform.routes.choose(task, u"chosen"_s);
        ground.platform.log.clear();
        ground.recognizers.prepare(u"de-CH"_s);
        QVERIFY(ground.platform.log.calls().contains(u"models.use chosen"_s));
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("abc"), u"\u0E02\u0E03\u0E04"_s);
    }

    void aModelThatIsTooSlowIsCalledThat() {
        constexpr auto offline = recognizer::longestDecoding;
        QCOMPARE(OnDeviceRecognizers::remarkOnSpeed(offline, recognizer::longestDecoding), QString());
        QCOMPARE(OnDeviceRecognizers::remarkOnSpeed(offline, 1449ms),
                 u"This computer is too slow for it: two seconds of speech take it 1.4 seconds."_s);
    }

    void aModelThatKeepsUpWithWhoeverSpeaksIsNotTooSlow() {
        const auto streaming = platform::RecognizerModel{}.longestDecoding;
        QCOMPARE(OnDeviceRecognizers::remarkOnSpeed(streaming, 1600ms), QString());
        QCOMPARE(OnDeviceRecognizers::remarkOnSpeed(streaming, 1700ms),
                 u"This computer is too slow for it: two seconds of speech take it 1.7 seconds."_s);
    }

    void everyModelIsTriedOnceItIsLoaded() {
        Ground ground;
        ground.install(ground.nemo);
        const QString id = ground.nemo.description().id;
        ground.platform.models.remark(id, u"1"_s, u"Another computer was too slow for it."_s);
        ground.recognizers.prepare(german);
        QVERIFY(ground.waitUntil([&] { return ground.platform.models.state(id).remark.isEmpty(); }));
    }

    void aModelThatHasArrivedIsTriedThoughNobodyNeedsIt() {
        Ground ground;
        ground.downloadAndInstall(ground.nemo);
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, ground.nemo); }));
        QVERIFY(ground.waitUntil([] { return processCount() == 0; }));
    }

    void aModelThatHasArrivedAndDoesNotWorkIsUnfitThoughNobodyNeedsIt() {
        Ground ground;
        spoil(ground.nemo);
        ground.downloadAndInstall(ground.nemo);
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
        QVERIFY(ground.waitUntil([] { return processCount() == 0; }));
    }

    void modelsThatArriveTogetherAreTriedOneAfterTheOther() {
        Ground ground;
        for (const auto *model : {&ground.nemo, &ground.chinese})
            ground.downloadAndInstall(*model);
        QVERIFY(ground.wasAsked(u"use"_s, ground.nemo));
        QVERIFY(!ground.wasAsked(u"use"_s, ground.chinese));
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, ground.chinese); }));
    }

    void aModelThatFailsItsTrialMakesWayForTheNext() {
        Ground ground;
        spoil(ground.nemo);
        for (const auto *model : {&ground.nemo, &ground.chinese})
            ground.downloadAndInstall(*model);
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, ground.chinese); }));
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
    }

    void aTrialThatNoProcessCanMakeIsOver() {
        Ground ground("/nonexistent");
        for (const auto *model : {&ground.nemo, &ground.chinese})
            ground.downloadAndInstall(*model);
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"use"_s, ground.chinese); }));
        QVERIFY(ground.platform.models.state(ground.nemo.description().id).isInstalled());
    }

    void aModelThatArrivesWhileSomebodyDictatesIsTriedAfterwards() {
        Ground ground;
        ground.install(ground.chinese);
        Listening listening(ground, u"zh-CN"_s);
        ground.downloadAndInstall(ground.nemo);
        QVERIFY(!ground.wasAsked(u"use"_s, ground.nemo));
        listening.hear("abc");
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, ground.nemo); }));
    }

    void aModelThatArrivesBesideADictationThatAnotherLanguageOvertookIsTriedAfterwards() {
        Ground ground;
        const InstalledToneModel next(u"offline-nemo-ctc"_s, {u"fr"_s});
        ground.platform.models.offer(next.description());
        ground.install(ground.nemo);
        ground.install(ground.chinese);
        Listening overtaken(ground, german);
        ground.recognizers.prepare(u"zh-CN"_s);
        ground.downloadAndInstall(next);
        QVERIFY(!ground.wasAsked(u"use"_s, next));
        overtaken.hear("abc");
        QVERIFY(ground.waitUntil([&] { return ground.wasAsked(u"remark"_s, next); }));
    }

    void aModelThatLeavesWhileItIsTriedIsNotKept() {
        Ground ground;
        ground.downloadAndInstall(ground.nemo);
        QVERIFY(ground.wasAsked(u"use"_s, ground.nemo));
        ground.platform.models.remove(ground.nemo.description().id);
        ground.platform.run(); // once: it is not over yet
        QCOMPARE(ground.platform.models.state(ground.nemo.description().id).presence, Presence::absent);
    }

    void aModelOfAnUnknownKindIsUnavailableUntilAnotherVersionIsThere() {
        Ground ground;
        ground.nemo.description().parameters[u"family"_s] = u"another"_s;
        ground.platform.models.offer(ground.nemo.description());
        ground.recognizers.prepare(german);
        ground.install(ground.nemo);
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
        ground.nemo.description().parameters[u"family"_s] = u"nemo-transducer"_s;
        ground.nemo.description().version = u"2"_s;
        ground.platform.models.offer(ground.nemo.description());
        ground.platform.models.place(ground.nemo.description().id, u"2"_s, ground.nemo.folder());
        ground.platform.run();
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
    }

    // What tells speech from pauses.

    void withoutADetectorLoudnessTellsPauses() {
        GroundOfSegments ground;
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"abcd"_s);
    }

    void aDetectorThatIsInstalledTellsPauses() {
        GroundOfSegments ground;
        ground.install(ground.detector);
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"ab cd"_s);
    }

    void aDetectorThatArrivesIsUsedFromTheNextDictationOn() {
        GroundOfSegments ground;
        Listening first(ground, u"de-CH"_s);
        ground.install(ground.detector);
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"ab cd"_s);
        QCOMPARE(first.hearTwoWordsAroundNoise(), u"abcd"_s);
    }

    void aModelThatHearsAsOneSpeaksIsNotLoadedAgainForADetector() {
        GroundOfSegments ground;
        ground.install(ground.nemo);
        ground.recognizers.prepare(german);
        ground.platform.log.clear();
        ground.install(ground.detector);
        QCOMPARE(ground.platform.log.calls(), QStringList());
    }

    void aDetectorThatIsInUseLeavesOnceTheDictationIsOver() {
        GroundOfSegments ground;
        ground.install(ground.detector);
        ground.recognizers.prepare(u"de-CH"_s);
        Listening first(ground, u"de-CH"_s);
        ground.platform.models.remove(ground.detector.description().id);
        ground.platform.run();
        QVERIFY(ground.stateOfDetector().isLeaving);
        QCOMPARE(first.hearTwoWordsAroundNoise(), u"ab cd"_s);
        QVERIFY(ground.waitFor(ground.detector, Presence::absent));
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"abcd"_s);
    }

    void aBadDetectorCostsNoWordAndIsNamed_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray(5000, '\xA5');
        QTest::newRow("half") << test::readFile(InstalledDetector().file()).first(60000);
        QTest::newRow("another type, which ends the process")
            << test::readFile(QString::fromStdString(ToneModels::model("streaming-nemo-ctc").files[0]));
    }
    void aBadDetectorCostsNoWordAndIsNamed() {
        QFETCH(QByteArray, contents);
        GroundOfSegments ground;
        QFile::setPermissions(ground.detector.file(), QFile::ReadOwner | QFile::WriteOwner);
        test::writeFile(ground.detector.file(), contents);
        const char *const said =
            "The speech recognizer fails with its voice activity model, and goes on without it.";
        QTest::ignoreMessage(QtWarningMsg, said); // once
        QTest::failOnWarning(QRegularExpression(QString::fromLatin1(said)));
        ground.install(ground.detector);
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"abcd"_s);
        QVERIFY(ground.waitFor(ground.detector, Presence::unfit));
        QCOMPARE(ground.stateOfDetector().problem, u"The speech recognizer fails with it."_s);
        QVERIFY(ground.platform.models.state(ground.offline.description().id).isInstalled());
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"abcd"_s);
    }

    void aDetectorWithoutANetworkIsNamed() {
        GroundOfSegments ground;
        QFile::remove(ground.detector.file());
        ground.install(ground.detector);
        QCOMPARE(ground.hearTwoWordsAroundNoise(), u"abcd"_s);
        QVERIFY(ground.waitFor(ground.detector, Presence::unfit));
        QCOMPARE(ground.stateOfDetector().problem, u"This program does not know models of its kind."_s);
    }

    void aDetectorIsNotBlamedForAModelThatCannotBeLoaded() {
        GroundOfSegments ground;
        spoil(ground.offline);
        QTest::ignoreMessage(
            QtWarningMsg,
            "The speech recognizer fails with its voice activity model, and goes on without it.");
        ground.install(ground.detector);
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("ab"), QString());
        QVERIFY(ground.waitFor(ground.offline, Presence::unfit));
        QVERIFY(ground.stateOfDetector().isInstalled());
    }

    void aModelThatIsInUseLeavesOnceTheDictationIsOver_data() {
        QTest::addColumn<bool>("isCancelled");
        QTest::newRow("heard") << false;
        QTest::newRow("cancelled") << true;
    }
    void aModelThatIsInUseLeavesOnceTheDictationIsOver() {
        QFETCH(const bool, isCancelled);
        Ground ground;
        ground.install(ground.nemo);
        Listening listening(ground, german);
        ground.platform.models.remove(ground.nemo.description().id);
        ground.platform.run();
        QVERIFY(ground.platform.models.state(ground.nemo.description().id).isLeaving);
        if (isCancelled)
            listening.recognition->cancel();
        else
            QCOMPARE(listening.hear("hello"), u"hello"_s);
        QVERIFY(ground.waitFor(ground.nemo, Presence::absent));
    }

    void aModelWithOtherTimesIsCheckedWhenItIsLoadedAgain() {
        Ground ground;
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
        endProcess(ground, ground.nemo);
        setTime(ground.nemo.folder() + u"/tokens.txt"_s);
        ground.platform.models.damageSecretly(ground.nemo.description().id, u"\"tokens.txt\" has changed."_s);
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
        QVERIFY(ground.waitFor(ground.nemo, Presence::damaged));
    }

    void aDetectorWithOtherTimesIsCheckedWhenItIsLoadedAgain() {
        GroundOfSegments ground;
        ground.install(ground.detector);
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("hello"), u"hello"_s);
        endProcess(ground, ground.offline);
        setTime(ground.detector.file());
        ground.platform.models.damageSecretly(ground.detector.description().id, u"It has changed."_s);
        QCOMPARE(Listening(ground, u"de-CH"_s).hear("hello"), u"hello"_s);
        QVERIFY(ground.waitFor(ground.detector, Presence::damaged));
    }

    void aModelOfAnotherSizeIsNotLoadedAgain() {
        Ground ground;
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
        endProcess(ground, ground.nemo);
        std::ofstream(ground.nemo.folder().toStdString() + "/tokens.txt", std::ios::app) << "\n";
        Listening listening(ground, german);
        QVERIFY(ground.waitFor(ground.nemo, Presence::unfit));
        QCOMPARE(listening.errors(), QStringList{u"The speech model is damaged."_s});
    }

    void aModelThatLeavesIsNotKept() {
        Ground ground;
        ground.install(ground.nemo);
        QCOMPARE(Listening(ground, german).hear("hello"), u"hello"_s);
        ground.platform.models.remove(ground.nemo.description().id);
        ground.platform.run();
        QVERIFY(ground.platform.models.state(ground.nemo.description().id).presence == Presence::absent);
        QVERIFY(!ground.recognizers.makeRecognizer(german)->isAvailable());
    }
};

QTEST_GUILESS_MAIN(OnDeviceRecognizersTest)
#include "OnDeviceRecognizersTest.moc"
