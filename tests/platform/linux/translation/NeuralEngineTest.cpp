#include "platform/linux/translation/NeuralEngine.h"

#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelConsent.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelStore.h"
#include "support/ChildProcess.h"
#include "support/ModelDescriptions.h"
#include "support/Outcome.h"
#include "support/ResidentMemory.h"
#include "support/Sanitizers.h"
#include "support/Sessions.h"
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using namespace quillora::test;

namespace {

using TextOutcome = std::shared_ptr<Outcome<QString>>;

const Dictionary englishToFrench{{"hello", "salut"}, {"this", "ceci"},
                                 {"This", "Ceci"},   {"is", "est"},
                                 {"a", "un"},        {"test", "essai"},
                                 {"and", "et"},      {"thanks", "merci"},
                                 {"good", "bon"},    {"translation", "traduction"}};

/// Nothing can be opened meanwhile.
class WithoutFurtherFiles {
public:
    WithoutFurtherFiles() {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const int lowestFree = ::dup(STDIN_FILENO);
        ::close(lowestFree);
        rlimit none = m_before;
        none.rlim_cur = rlim_t(lowestFree);
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~WithoutFurtherFiles() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    WithoutFurtherFiles(const WithoutFurtherFiles &) = delete;
    WithoutFurtherFiles &operator=(const WithoutFurtherFiles &) = delete;

private:
    rlimit m_before{};
};

std::atomic<std::size_t> mostBytesAtOnce = std::numeric_limits<std::size_t>::max();

/// Nothing large finds a place meanwhile, as where memory has run out.
class WithoutMemory {
public:
    WithoutMemory() { mostBytesAtOnce = 4096; }
    ~WithoutMemory() { mostBytesAtOnce = std::numeric_limits<std::size_t>::max(); }
    WithoutMemory(const WithoutMemory &) = delete;
    WithoutMemory &operator=(const WithoutMemory &) = delete;
};

/// The folder cannot be read meanwhile, which says nothing of the model.
class WithoutFolder {
public:
    explicit WithoutFolder(const QString &folder) : m_folder(folder), m_away(folder + u".away"_s) {
        QDir().rename(m_folder, m_away);
    }
    ~WithoutFolder() { QDir().rename(m_away, m_folder); }
    WithoutFolder(const WithoutFolder &) = delete;
    WithoutFolder &operator=(const WithoutFolder &) = delete;

private:
    const QString m_folder;
    const QString m_away;
};

} // namespace

#ifndef QUILLORA_SANITIZED // a sanitizer has these of its own
void *operator new(std::size_t size) {
    void *memory = size <= mostBytesAtOnce ? std::malloc(std::max<std::size_t>(size, 1)) : nullptr;
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
#endif

/// Translation by models of the store: how they come, what of them is in memory, and what a person reads if
/// something is in the way.
class NeuralEngineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aPairIsTranslatedByItsModel();
    void aPairWithoutOneIsTranslatedByWayOfEnglish();
    void aPairThatNoModelServesHasNoSession();
    void aPairThatTheSystemServesHasNoSession();

    void whatIsMissingIsAskedForAndInstalled();
    void bothHalvesAreOneQuestionAndBothAreWaitedFor();
    void whoAgreesGetsWhatHeChoseMeanwhile();
    void onlyWhatIsMissingIsAskedFor();
    void whatIsOnItsWayIsWaitedForWithoutAQuestion();
    void whatDoesNotComeIsNamedWithWhatToDo_data();
    void whatDoesNotComeIsNamedWithWhatToDo();
    void afterAFailureTheNextPreparationAsksAgain();

    void aDamagedModelIsNamedAndChecked();
    void aModelOfAnotherKindIsNamed();
    void aModelMayHaveAVocabularyForEachLanguage();
    void aModelThatCannotBeLoadedIsRejected();
    void aRejectedModelIsNotOfferedAgain();
    void aRejectedModelThatIsBeingRepairedIsWaitedFor();
    void anotherModelOfThePairTakesThePlaceOfOneThatCannotBeLoaded();
    void theWayThroughEnglishTakesThePlaceOfOneThatCannotBeLoaded();
    void whatOnlyFailsForNowIsNotRejected();
    void anotherModelOfThePairTakesThePlaceOfOneThatFailsForNow();
    void theWayThroughEnglishTakesThePlaceOfOneThatFailsForNow();
    void anotherHalfTakesThePlaceOfOneThatFailsForNow();
    void whatIsNotInstalledIsNotAskedForInItsPlace();
    void aLackOfMemoryIsCalledThat();
    void aModelThatIsRemovedInMidSessionTranslatesOn();
    void aRemovedModelIsNotKeptInMemory();
    void anotherPairMayBeTranslatedMeanwhile();
    void theEndStopsATranslation();
    void theEndIsAnErrorForWhoeverWaits();
    void afterTheEndEverythingFails();

    void aPairInUseIsLoadedOnce();
    void whatMayBeUsedSoonIsLoaded();
    void bothHalvesOfAWayAreLoaded();
    void whatIsNotInstalledIsNotLoadedNorAskedFor();
    void whatCannotBeLoadedSoonIsChecked();
    void aModelThatNobodyKnowsIsAnErrorAndLeavesNothing();
    void aModelThatIsInNoCatalogAnyMoreIsAnError();
    void afterTenIdleMinutesMemoryIsGivenBack();
    void whatIsUsedMeanwhileStays();
    void aNewVersionTakesThePlaceOfTheOldOne();
    void aHundredTranslationsInARowTakeNoMemory();

    void whatIsAroundTheModelStaysWhole_data();
    void whatIsAroundTheModelStaysWhole();

private:
    /// Offers a model of the dictionary for the pair that its id names.
    void offer(const QString &id, const Dictionary &dictionary);
    void install(const QString &id) { m_store->place(id, u"1"_s, m_folder->filePath(id)); }
    /// Its files are no model, though they are what was installed.
    void spoil(const QString &id) {
        QVERIFY(QFile::resize(m_folder->filePath(id + u"/model.xxyy.intgemm.alphas.bin"_s), 1000));
    }
    std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) {
        return m_engine->session(source, target);
    }
    bool wait(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil([&] { return m_queue->run(), condition(); }, 30000);
    }
    TextOutcome outcomeOf(QCoro::Task<QString> task) {
        auto outcome = Outcome<QString>::of(std::move(task));
        wait([&] { return outcome->isDone(); });
        return outcome;
    }
    QString translation(const QString &source, const QString &target, const QString &text) {
        const auto outcome = outcomeOf(translated(session(source, target), text));
        return outcome->error().isNull() ? outcome->value() : outcome->error();
    }
    void end() { m_engine.reset(); }
    qsizetype uses(const QString &id) const { return m_log.calls().count(u"models.use "_s + id); }

    CallLog m_log;
    std::optional<QTemporaryDir> m_folder;
    std::optional<FakeMainQueue> m_queue;
    std::optional<FakeModelStore> m_store;
    std::optional<FakeModelRoutes> m_routes;
    std::optional<FakeModelConsent> m_consent;
    std::optional<NeuralEngine> m_engine;
};

void NeuralEngineTest::init() {
    m_log.clear();
    m_folder.emplace();
    m_queue.emplace();
    m_store.emplace(m_log, *m_queue);
    m_routes.emplace(*m_store);
    m_consent.emplace(m_log, *m_queue);
    m_engine.emplace(*m_routes, *m_store, *m_consent, *m_queue);
    offer(u"de-en"_s, germanToEnglish());
    offer(u"en-fr"_s, englishToFrench);
}

void NeuralEngineTest::cleanup() {
    m_engine.reset();
    m_consent.reset();
    m_routes.reset();
    m_queue->run();
    m_store.reset();
    m_queue.reset();
    m_folder.reset();
}

void NeuralEngineTest::offer(const QString &id, const Dictionary &dictionary) {
    QDir().mkpath(m_folder->filePath(id));
    writePublishedModel(m_folder->filePath(id).toStdString(), dictionary);
    const QString source = id.section(u'-', 0, 0), target = id.section(u'-', 1, 1);
    m_store->offer(translationModel(id, source, target));
    m_routes->offer(ModelTask::translating(source, target), {id});
}

void NeuralEngineTest::aPairIsTranslatedByItsModel() {
    install(u"de-en"_s);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"Das ist ein Test und danke."_s),
             u"This is a test and thanks."_s);
    QVERIFY(m_consent->shown.isEmpty());
}

void NeuralEngineTest::aPairWithoutOneIsTranslatedByWayOfEnglish() {
    install(u"de-en"_s);
    install(u"en-fr"_s);
    QCOMPARE(translation(u"de"_s, u"fr"_s, u"Das ist ein Test. hallo und danke\n das Übersetzung"_s),
             u"Ceci est un essai. salut et merci\n ceci traduction"_s);
}

void NeuralEngineTest::aPairThatNoModelServesHasNoSession() { QVERIFY(!session(u"fr"_s, u"de"_s)); }

void NeuralEngineTest::aPairThatTheSystemServesHasNoSession() {
    m_routes->comesWithSystem(ModelTask::translating(u"en"_s, u"fr"_s));
    QVERIFY(!session(u"en"_s, u"fr"_s));
    install(u"en-fr"_s);
    QVERIFY(session(u"en"_s, u"fr"_s));
}

void NeuralEngineTest::whatIsMissingIsAskedForAndInstalled() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_s, u"en"_s), u"danke"_s));
    m_queue->run();
    QCOMPARE(m_consent->shown,
             (QList{DownloadQuestion{{ModelTask::translating(u"de"_s, u"en"_s)}, {u"de-en"_s}}}));
    QCOMPARE(m_store->underWay(), u"de-en"_s);
    QVERIFY(!outcome->isDone());
    install(u"de-en"_s);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"thanks"_s);
}

void NeuralEngineTest::bothHalvesAreOneQuestionAndBothAreWaitedFor() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_s, u"fr"_s), u"danke"_s));
    m_queue->run();
    QCOMPARE(m_consent->shown,
             (QList{DownloadQuestion{{ModelTask::translating(u"de"_s, u"fr"_s)}, {u"de-en"_s, u"en-fr"_s}}}));
    QCOMPARE(m_store->waiting(), (QStringList{u"de-en"_s, u"en-fr"_s}));
    install(u"de-en"_s);
    m_queue->run();
    QVERIFY(!outcome->isDone());
    install(u"en-fr"_s);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"merci"_s);
}

void NeuralEngineTest::whoAgreesGetsWhatHeChoseMeanwhile() {
    offer(u"de-en-base"_s, {{"danke", "cheers"}});
    m_routes->offer(ModelTask::translating(u"de"_s, u"en"_s), {u"de-en"_s, u"de-en-base"_s});
    std::vector<FakeModelConsent::Reply> replies;
    m_consent->setPresenter([&](const DownloadQuestion &, const auto &reply) { replies.push_back(reply); });
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_s, u"en"_s), u"danke"_s));
    m_routes->choose(ModelTask::translating(u"de"_s, u"en"_s), u"de-en-base"_s);
    m_store->install(u"de-en-base"_s);
    replies.front()(DownloadAnswer::download);
    m_queue->run();
    QCOMPARE(m_store->waiting(), QStringList{u"de-en-base"_s});
    install(u"de-en-base"_s);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"cheers"_s);
}

void NeuralEngineTest::onlyWhatIsMissingIsAskedFor() {
    m_consent->seatPerson(DownloadAnswer::notNow);
    install(u"en-fr"_s);
    outcomeOf(prepared(session(u"de"_s, u"fr"_s)));
    QCOMPARE(m_consent->shown.value(0).models, QStringList{u"de-en"_s});
}

void NeuralEngineTest::whatIsOnItsWayIsWaitedForWithoutAQuestion() {
    m_consent->seatPerson(DownloadAnswer::notNow);
    m_store->install(u"de-en"_s);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_s, u"en"_s), u"danke"_s));
    m_queue->run();
    QVERIFY(m_consent->shown.isEmpty());
    install(u"de-en"_s);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"thanks"_s);
}

void NeuralEngineTest::whatDoesNotComeIsNamedWithWhatToDo_data() {
    QTest::addColumn<DownloadAnswer>("answer");
    QTest::addColumn<std::function<void(FakeModelStore &)>>("fate");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *name, DownloadAnswer answer, std::function<void(FakeModelStore &)> fate,
                        const QString &sentence) {
        QTest::newRow(name) << answer << std::move(fate) << sentence;
    };
    row(
        "declined", DownloadAnswer::notNow, [](FakeModelStore &) {},
        u"German to English needs a download that was not agreed to. Choose the languages again to be asked "
        "again, or open Models in the tray menu."_s);
    row(
        "cancelled", DownloadAnswer::download, [](FakeModelStore &store) { store.cancel(u"de-en"_s); },
        u"The download for German to English was cancelled. Translate again to be asked again, or open "
        u"Models "
        "in the tray menu."_s);
    row(
        "paused", DownloadAnswer::download,
        [](FakeModelStore &store) {
            ModelProgress progress;
            progress.step = ModelProgress::Step::downloading;
            progress.receivedBytes = 1000;
            store.progress(progress);
            store.pause(u"de-en"_s);
        },
        u"The download for German to English is paused. Go on with it under Models in the tray menu."_s);
    row(
        "paused before anything came", DownloadAnswer::download,
        [](FakeModelStore &store) { store.pause(u"de-en"_s); },
        u"The download for German to English is paused. Go on with it under Models in the tray menu."_s);
    row(
        "failed in the middle", DownloadAnswer::download,
        [](FakeModelStore &store) {
            ModelProgress progress;
            progress.step = ModelProgress::Step::downloading;
            progress.receivedBytes = 1000;
            store.progress(progress);
            store.fail(u"The connection to publisher.example was closed."_s);
        },
        u"The download for German to English failed: The connection to publisher.example was closed. Try "
        u"again under Models in the tray menu."_s);
    row(
        "a repair that was paused", DownloadAnswer::download,
        [](FakeModelStore &store) {
            store.place(u"de-en"_s, u"1"_s);
            store.damage(u"de-en"_s, u"Files of it are missing."_s);
            store.pause(u"de-en"_s);
        },
        u"The download for German to English is paused. Go on with it under Models in the tray menu."_s);
    row(
        "failed", DownloadAnswer::download,
        [](FakeModelStore &store) { store.fail(u"publisher.example answered with the error 404."_s); },
        u"The download for German to English failed: publisher.example answered with the error 404. Try "
        u"again "
        "under Models in the tray menu."_s);
    row(
        "no space", DownloadAnswer::download,
        [](FakeModelStore &store) {
            store.fail(u"The model needs 14 MB on the disk, and 2 MB are free. Make room for it."_s);
        },
        u"The download for German to English failed: The model needs 14 MB on the disk, and 2 MB are free. "
        u"Make room for it. Try again under Models in the tray menu."_s);
    row(
        "offline, while it is tried again", DownloadAnswer::download,
        [](FakeModelStore &store) {
            ModelProgress progress;
            progress.obstacle = u"Could not connect to publisher.example: connection refused."_s;
            store.progress(progress);
        },
        u"The download for German to English gets no connection: Could not connect to publisher.example: "
        u"connection refused. It is tried again for a while; translate again when it has come, or see Models "
        u"in "
        u"the tray menu."_s);
    row(
        "offline", DownloadAnswer::download,
        [](FakeModelStore &store) {
            store.fail(u"Could not connect to publisher.example: there is no such host, or this computer is "
                       u"offline."_s);
        },
        u"The download for German to English failed: Could not connect to publisher.example: there is no "
        u"such host, or this computer is offline. Try again under Models in the tray menu."_s);
}

void NeuralEngineTest::whatDoesNotComeIsNamedWithWhatToDo() {
    QFETCH(const DownloadAnswer, answer);
    QFETCH(const std::function<void(FakeModelStore &)>, fate);
    QFETCH(const QString, sentence);
    m_consent->seatPerson(answer);
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    m_queue->run();
    fate(*m_store);
    m_queue->run();
    QVERIFY(outcome->isDone());
    QCOMPARE(outcome->error(), sentence);
}

void NeuralEngineTest::afterAFailureTheNextPreparationAsksAgain() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    m_queue->run();
    m_store->fail(u"It is away."_s);
    m_queue->run();
    QVERIFY(outcome->isDone());
    const auto second = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    m_queue->run();
    QCOMPARE(m_consent->shown.size(), 2);
    install(u"de-en"_s);
    QVERIFY(wait([&] { return second->isDone(); }));
    QCOMPARE(second->error(), QString());
}

void NeuralEngineTest::aDamagedModelIsNamedAndChecked() {
    install(u"de-en"_s);
    m_store->damageSecretly(u"de-en"_s, u"It is not what was installed."_s);
    spoil(u"de-en"_s);
    const auto outcome = outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    QVERIFY2(outcome->error().startsWith(
                 u"The on-device translation from German to English cannot be used: The model"),
             qPrintable(outcome->error()));
    QVERIFY2(outcome->error().endsWith(u". Repair its model under Models in the tray menu."),
             qPrintable(outcome->error()));
    QCOMPARE(m_store->state(u"de-en"_s).presence, ModelState::Presence::damaged);
}

void NeuralEngineTest::aModelOfAnotherKindIsNamed() {
    QVERIFY(QFile::remove(m_folder->filePath(u"de-en/vocab.xxyy.spm"_s)));
    install(u"de-en"_s);
    const auto outcome = outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    QCOMPARE(outcome->error(), u"The on-device translation from German to English cannot be used: It comes "
                               "without a vocabulary. Repair its model under Models in the tray menu."_s);
}

void NeuralEngineTest::aModelMayHaveAVocabularyForEachLanguage() {
    offer(u"de-ja"_s, {});
    const std::filesystem::path folder = m_folder->filePath(u"de-ja"_s).toStdString();
    const RandomModel model{"two vocabularies", {16, 32, 2, 1, 1, 40, 48, false}};
    writeFile(folder / "model.xxyy.intgemm.alphas.bin", model.modelFile());
    writeFile(folder / "srcvocab.xxyy.spm", model.sourceVocabularyFile());
    writeFile(folder / "trgvocab.xxyy.spm", model.targetVocabularyFile());
    for (const char *of : {"vocab.xxyy.spm", "lex.50.50.xxyy.s2t.bin"})
        QVERIFY(std::filesystem::remove(folder / of));
    install(u"de-ja"_s);
    QCOMPARE(outcomeOf(prepared(session(u"de"_s, u"ja"_s)))->error(), QString());
}

void NeuralEngineTest::aModelThatCannotBeLoadedIsRejected() {
    install(u"de-en"_s);
    spoil(u"de-en"_s);
    const auto outcome = outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    const ModelState state = m_store->state(u"de-en"_s);
    QCOMPARE(state.presence, ModelState::Presence::unfit);
    QVERIFY2(state.problem.startsWith(u"The model is damaged: "_s), qPrintable(state.problem));
    QCOMPARE(outcome->error(), u"The on-device translation from German to English cannot be used: "_s +
                                   state.problem + u" Repair its model under Models in the tray menu."_s);
}

void NeuralEngineTest::aRejectedModelIsNotOfferedAgain() {
    m_consent->seatPerson(DownloadAnswer::download);
    install(u"de-en"_s);
    spoil(u"de-en"_s);
    const QString first = outcomeOf(prepared(session(u"de"_s, u"en"_s)))->error();
    QCOMPARE(outcomeOf(prepared(session(u"de"_s, u"en"_s)))->error(), first);
    QVERIFY(m_consent->shown.isEmpty());
    QCOMPARE(m_store->waiting(), QStringList());
}

void NeuralEngineTest::aRejectedModelThatIsBeingRepairedIsWaitedFor() {
    install(u"de-en"_s);
    m_store->reject(u"de-en"_s, u"1"_s, u"It does not work."_s);
    m_store->install(u"de-en"_s);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_s, u"en"_s), u"danke"_s));
    m_queue->run();
    QVERIFY(!outcome->isDone());
    install(u"de-en"_s);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"thanks"_s);
}

void NeuralEngineTest::anotherModelOfThePairTakesThePlaceOfOneThatCannotBeLoaded() {
    offer(u"de-en-base"_s, {{"danke", "cheers"}});
    m_routes->offer(ModelTask::translating(u"de"_s, u"en"_s), {u"de-en-base"_s, u"de-en"_s});
    install(u"de-en-base"_s);
    install(u"de-en"_s);
    spoil(u"de-en-base"_s);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    QVERIFY(m_consent->shown.isEmpty());
    QCOMPARE(m_store->state(u"de-en-base"_s).presence, ModelState::Presence::unfit);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    QCOMPARE(uses(u"de-en-base"_s), 1);
}

void NeuralEngineTest::theWayThroughEnglishTakesThePlaceOfOneThatCannotBeLoaded() {
    offer(u"de-fr"_s, {{"danke", "remerciements"}});
    for (const QString &id : {u"de-fr"_s, u"de-en"_s, u"en-fr"_s})
        install(id);
    spoil(u"de-fr"_s);
    QCOMPARE(translation(u"de"_s, u"fr"_s, u"danke"_s), u"merci"_s);
    QVERIFY(m_consent->shown.isEmpty());
}

void NeuralEngineTest::whatOnlyFailsForNowIsNotRejected() {
    if (isSanitized)
        QSKIP("a sanitizer looks at memory through descriptors, and there are none");
    install(u"de-en"_s);
    TextOutcome outcome;
    {
        const WithoutFurtherFiles none;
        outcome = outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    }
    QVERIFY2(
        outcome->error().startsWith(u"The on-device translation from German to English cannot be used: "_s),
        qPrintable(outcome->error()));
    QVERIFY2(outcome->error().contains(u"Too many open files"_s), qPrintable(outcome->error()));
    QVERIFY2(!outcome->error().contains(u"Repair"_s), qPrintable(outcome->error()));
    QCOMPARE(m_log.calls().count(u"models.check de-en"_s), 1);
    QVERIFY(m_store->state(u"de-en"_s).isInstalled());
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
}

void NeuralEngineTest::anotherModelOfThePairTakesThePlaceOfOneThatFailsForNow() {
    offer(u"de-en-base"_s, {{"danke", "cheers"}});
    m_routes->offer(ModelTask::translating(u"de"_s, u"en"_s), {u"de-en-base"_s, u"de-en"_s});
    install(u"de-en-base"_s);
    install(u"de-en"_s);
    {
        const WithoutFolder none(m_folder->filePath(u"de-en-base"_s));
        QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    }
    QVERIFY(m_store->state(u"de-en-base"_s).isInstalled());
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"cheers"_s);
}

void NeuralEngineTest::theWayThroughEnglishTakesThePlaceOfOneThatFailsForNow() {
    offer(u"de-fr"_s, {{"danke", "remerciements"}});
    for (const QString &id : {u"de-fr"_s, u"de-en"_s, u"en-fr"_s})
        install(id);
    const WithoutFolder none(m_folder->filePath(u"de-fr"_s));
    QCOMPARE(translation(u"de"_s, u"fr"_s, u"danke"_s), u"merci"_s);
    QVERIFY(m_consent->shown.isEmpty());
}

void NeuralEngineTest::anotherHalfTakesThePlaceOfOneThatFailsForNow() {
    offer(u"en-fr-base"_s, {{"thanks", "mille mercis"}});
    m_routes->offer(ModelTask::translating(u"en"_s, u"fr"_s), {u"en-fr-base"_s, u"en-fr"_s});
    for (const QString &id : {u"de-en"_s, u"en-fr-base"_s, u"en-fr"_s})
        install(id);
    const WithoutFolder none(m_folder->filePath(u"en-fr-base"_s));
    QCOMPARE(translation(u"de"_s, u"fr"_s, u"danke"_s), u"merci"_s);
}

void NeuralEngineTest::whatIsNotInstalledIsNotAskedForInItsPlace() {
    offer(u"de-en-base"_s, {{"danke", "cheers"}});
    m_routes->offer(ModelTask::translating(u"de"_s, u"en"_s), {u"de-en-base"_s, u"de-en"_s});
    install(u"de-en-base"_s);
    const WithoutFolder none(m_folder->filePath(u"de-en-base"_s));
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s),
             u"The on-device translation from German to English cannot be used: Its folder cannot be read: "
             "No such file or directory."_s);
    QVERIFY(m_consent->shown.isEmpty());
}

void NeuralEngineTest::aLackOfMemoryIsCalledThat() {
    if (isSanitized)
        QSKIP("memory is the sanitizer's, and does not run out");
    install(u"de-en"_s);
    TextOutcome outcome;
    {
        const WithoutMemory none;
        outcome = outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    }
    QCOMPARE(outcome->error(), u"The on-device translation from German to English cannot be used: There is "
                               "not enough memory for the translation model."_s);
    QVERIFY(m_store->state(u"de-en"_s).isInstalled());
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
}

void NeuralEngineTest::aModelThatIsRemovedInMidSessionTranslatesOn() {
    install(u"de-en"_s);
    const auto one = session(u"de"_s, u"en"_s);
    outcomeOf(prepared(one));
    m_store->remove(u"de-en"_s);
    QVERIFY(QDir(m_folder->filePath(u"de-en"_s)).removeRecursively());
    m_queue->run();
    const auto response = Outcome<TranslationResponse>::of(one->translate(u"danke"_s));
    QVERIFY(wait([&] { return response->isDone(); }));
    QCOMPARE(response->value().targetText, u"thanks"_s);
}

void NeuralEngineTest::aRemovedModelIsNotKeptInMemory() {
    install(u"de-en"_s);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    m_store->remove(u"de-en"_s);
    m_queue->run();
    QCOMPARE(m_store->state(u"de-en"_s).presence, ModelState::Presence::absent);
    QCOMPARE(m_queue->delayedCount(), 0); // nothing is left to be given back
    m_consent->seatPerson(DownloadAnswer::notNow);
    outcomeOf(prepared(session(u"de"_s, u"en"_s)));
    QCOMPARE(m_consent->shown.size(), 1);
}

void NeuralEngineTest::anotherPairMayBeTranslatedMeanwhile() {
    install(u"de-en"_s);
    install(u"en-fr"_s);
    const auto first = Outcome<QString>::of(translated(session(u"de"_s, u"en"_s), u"hallo Welt"_s));
    const auto second = Outcome<QString>::of(translated(session(u"en"_s, u"fr"_s), u"thanks"_s));
    QVERIFY(wait([&] { return first->isDone() && second->isDone(); }));
    QCOMPARE(first->value(), u"hello world"_s);
    QCOMPARE(second->value(), u"merci"_s);
}

void NeuralEngineTest::theEndStopsATranslation() {
    // One that takes minutes.
    RandomModel random = measuredModels().front();
    const std::filesystem::path folder = m_folder->filePath(u"de-en"_s).toStdString();
    QVERIFY(QFile::remove(m_folder->filePath(u"de-en/lex.50.50.xxyy.s2t.bin"_s)));
    writeFile(folder / "model.xxyy.intgemm.alphas.bin", random.modelFile());
    writeFile(folder / "vocab.xxyy.spm", random.sourceVocabularyFile());
    RandomNumbers numbers(3);
    std::string text;
    for (const std::string &sentence : random.sentences(3000, 3, 22, numbers))
        text += sentence + ".\n";
    install(u"de-en"_s);
    const auto one = session(u"de"_s, u"en"_s);
    QCOMPARE(outcomeOf(prepared(one))->error(), QString());
    const auto before = std::clock();
    const auto outcome = Outcome<TranslationResponse>::of(one->translate(QString::fromStdString(text)));
    QVERIFY(wait([&] { return std::clock() - before > CLOCKS_PER_SEC / 10; })); // it is in the middle of it
    QVERIFY(!outcome->isDone());
    QElapsedTimer clock;
    clock.start();
    end();
    qInfo("ended after %.1f ms", double(clock.nsecsElapsed()) / 1e6);
    QVERIFY(clock.elapsed() < 2000); // 20 ms, on a machine that does nothing else
    m_queue->run();
    QVERIFY(outcome->isDone());
    QCOMPARE(outcome->error(), ContinuationDropped().errorDescription());
}

void NeuralEngineTest::theEndIsAnErrorForWhoeverWaits() {
    QList<TextOutcome> outcomes;
    std::vector<FakeModelConsent::Reply> replies; // one is being asked
    m_consent->setPresenter([&](const DownloadQuestion &, const auto &reply) { replies.push_back(reply); });
    outcomes += Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    m_store->install(u"en-fr"_s); // one waits for a download
    outcomes += Outcome<QString>::of(prepared(session(u"en"_s, u"fr"_s)));
    offer(u"en-es"_s, {{"thanks", "gracias"}});
    install(u"en-es"_s); // one is being loaded
    outcomes += Outcome<QString>::of(prepared(session(u"en"_s, u"es"_s)));
    end();
    replies.front()(DownloadAnswer::download);
    m_queue->run();
    for (const auto &outcome : outcomes) {
        QVERIFY(outcome->isDone());
        QVERIFY(!outcome->error().isEmpty());
    }
}

void NeuralEngineTest::afterTheEndEverythingFails() {
    install(u"de-en"_s);
    const auto one = session(u"de"_s, u"en"_s);
    outcomeOf(prepared(one));
    end();
    const QString ended = u"The on-device translation from German to English was ended."_s;
    QCOMPARE(outcomeOf(prepared(one))->error(), ended);
    QCOMPARE(Outcome<TranslationResponse>::of(one->translate(u"danke"_s))->error(), ended);
}

void NeuralEngineTest::aPairInUseIsLoadedOnce() {
    install(u"de-en"_s);
    const auto first = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    const auto second = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    QVERIFY(wait([&] { return first->isDone() && second->isDone(); }));
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    QCOMPARE(uses(u"de-en"_s), 1);
}

void NeuralEngineTest::whatMayBeUsedSoonIsLoaded() {
    install(u"de-en"_s);
    m_engine->warm(u"de"_s, u"en"_s);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 1; })); // which will give it back
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)));
    QVERIFY(outcome->isDone());
    QCOMPARE(uses(u"de-en"_s), 1);
}

void NeuralEngineTest::bothHalvesOfAWayAreLoaded() {
    install(u"de-en"_s);
    install(u"en-fr"_s);
    m_engine->warm(u"de"_s, u"fr"_s);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 2; }));
    QVERIFY(Outcome<QString>::of(prepared(session(u"de"_s, u"fr"_s)))->isDone());
}

void NeuralEngineTest::whatIsNotInstalledIsNotLoadedNorAskedFor() {
    m_consent->seatPerson(DownloadAnswer::download);
    m_engine->warm(u"de"_s, u"en"_s);
    m_engine->warm(u"fr"_s, u"de"_s);
    m_queue->run();
    QCOMPARE(m_log.calls(), QStringList());
}

void NeuralEngineTest::whatCannotBeLoadedSoonIsChecked() {
    install(u"de-en"_s);
    m_store->damageSecretly(u"de-en"_s, u"It is not what was installed."_s);
    spoil(u"de-en"_s);
    m_engine->warm(u"de"_s, u"en"_s);
    QVERIFY(wait([&] { return m_store->state(u"de-en"_s).presence == ModelState::Presence::damaged; }));
}

void NeuralEngineTest::aModelThatNobodyKnowsIsAnErrorAndLeavesNothing() {
    NeuralModels models(*m_store, *m_queue);
    const auto outcome = Outcome<NeuralModels::Translator>::of(models.loaded(u"fr-de"_s));
    QCOMPARE(outcome->error(), u"There is no model \"fr-de\"."_s);
    ModelDescription description;
    description.id = u"fr-de"_s;
    m_store->offer(description);
    m_queue->run(); // the models hear of it, and of their end
}

void NeuralEngineTest::aModelThatIsInNoCatalogAnyMoreIsAnError() {
    install(u"fr-de"_s);
    NeuralModels models(*m_store, *m_queue);
    const auto outcome = Outcome<NeuralModels::Translator>::of(models.loaded(u"fr-de"_s));
    QCOMPARE(outcome->error(), u"There is no model \"fr-de\"."_s);
}

void NeuralEngineTest::afterTenIdleMinutesMemoryIsGivenBack() {
    install(u"de-en"_s);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    m_queue->advance(std::chrono::minutes(10) - std::chrono::milliseconds(1));
    QVERIFY(Outcome<QString>::of(prepared(session(u"de"_s, u"en"_s)))->isDone()); // and begins anew
    m_queue->advance(std::chrono::minutes(10));
    m_engine->warm(u"de"_s, u"en"_s);
    QCOMPARE(uses(u"de-en"_s), 2);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 1; }));
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    QCOMPARE(uses(u"de-en"_s), 2);
}

void NeuralEngineTest::whatIsUsedMeanwhileStays() {
    install(u"de-en"_s);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
        m_queue->advance(std::chrono::minutes(9));
    }
    QCOMPARE(uses(u"de-en"_s), 1);
}

void NeuralEngineTest::aNewVersionTakesThePlaceOfTheOldOne() {
    install(u"de-en"_s);
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"thanks"_s);
    const QString folder = m_folder->filePath(u"new"_s);
    QVERIFY(QDir().mkpath(folder));
    writePublishedModel(folder.toStdString(), {{"danke", "cheers"}});
    m_store->place(u"de-en"_s, u"2"_s, folder);
    m_queue->run();
    QCOMPARE(translation(u"de"_s, u"en"_s, u"danke"_s), u"cheers"_s);
}

void NeuralEngineTest::aHundredTranslationsInARowTakeNoMemory() {
    if (isSanitized)
        QSKIP("a sanitizer keeps some of what is freed, which is resident then");
    install(u"de-en"_s);
    install(u"en-fr"_s);
    const QString text = u"Das ist ein Test. hallo und danke "_s.repeated(10);
    const QString expected = translation(u"de"_s, u"fr"_s, text);
    for (int i = 0; i < 20; ++i)
        translation(u"de"_s, u"fr"_s, text);
    const std::size_t before = residentBytes();
    for (int i = 0; i < 100; ++i)
        QCOMPARE(translation(u"de"_s, u"fr"_s, text), expected);
    const auto grown = std::ptrdiff_t(residentBytes()) - std::ptrdiff_t(before);
    qInfo("%td kB more after 100 translations", grown / 1024);
    QVERIFY(grown < 2 << 20);
    QCOMPARE(uses(u"de-en"_s), 1);
}

void NeuralEngineTest::whatIsAroundTheModelStaysWhole_data() {
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("translation");
    const auto row = [](const char *name, const QString &source, const QString &text,
                        const QString &translation) {
        QTest::newRow(name) << source << u"en"_s << text << translation;
    };
    row("a lone word", u"de"_s, u"Straße"_s, u"street"_s);
    row("sharp s in capitals", u"de"_s, u"STRASSE und Straße"_s, u"STRASSE and street"_s);
    row("a transcript of several sentences", u"de"_s,
        u"hallo das ist ein Test und das ist ein Test danke danke"_s,
        u"hello this is a test and this is a test thanks thanks"_s);
    row("names and numbers", u"de"_s, u"Łukasz Müller ist 42 und das ist 3,14."_s,
        u"Łukasz Müller is 42 and this is 3,14."_s);
    row("in the target language already", u"de"_s, u"this is a test, thanks"_s, u"this is a test, thanks"_s);
    row("white space", u"de"_s, u"\t hallo  \n\n danke \n"_s, u"\t hello  \n\n thanks \n"_s);
    row("dotted and dotless i", u"tr"_s, u"İstanbul ılık ve Iğdır ıssız"_s,
        u"Istanbul warm and Iğdır ıssız"_s);
    row("Arabic digits", u"ar"_s, u"مرحبا ١٢٣ شكرا"_s, u"hello ١٢٣ thanks"_s);
    row("Thai without spaces", u"th"_s, u"สวัสดีครับขอบคุณ"_s, u"helloครับขอบคุณ"_s);
    row("Thai with spaces", u"th"_s, u"สวัสดี ขอบคุณ"_s, u"hello thanks"_s);
    row("full-width forms", u"ja"_s, u"ＡＢＣ１２３！ 感謝"_s, u"ＡＢＣ１２３！ thanks"_s);
    row("emoji", u"de"_s, u"danke 👩‍👩‍👧 und 🇩🇪 danke"_s,
        u"thanks 👩‍👩‍👧 and 🇩🇪 thanks"_s);

    const auto byWay = [](const char *name, const QString &source, const QString &target, const QString &text,
                          const QString &translation) {
        QTest::addRow("by way of English: %s", name) << source << target << text << translation;
    };
    byWay("a lone word", u"de"_s, u"fr"_s, u"danke"_s, u"merci"_s);
    byWay("sharp s in capitals", u"de"_s, u"fr"_s, u"STRASSE und danke"_s, u"STRASSE et merci"_s);
    byWay("a transcript of several sentences", u"de"_s, u"fr"_s,
          u"hallo das ist ein Test und das ist ein Test danke danke"_s,
          u"salut ceci est un essai et ceci est un essai merci merci"_s);
    byWay("names and numbers", u"de"_s, u"fr"_s, u"Łukasz Müller ist 42 und das ist 3,14."_s,
          u"Łukasz Müller est 42 et ceci est 3,14."_s);
    byWay("in the target language already", u"de"_s, u"fr"_s, u"ceci est un essai, merci"_s,
          u"ceci est un essai, merci"_s);
    byWay("in the language between already", u"de"_s, u"fr"_s, u"this is a test, thanks"_s,
          u"ceci est un essai, merci"_s);
    byWay("white space", u"de"_s, u"fr"_s, u"\t hallo  \n\n danke \n"_s, u"\t salut  \n\n merci \n"_s);
    byWay("dotted and dotless i", u"tr"_s, u"fr"_s, u"İstanbul ılık ve Iğdır ıssız"_s,
          u"Istanbul chaud et Iğdır ıssız"_s);
    byWay("Arabic digits", u"ar"_s, u"fr"_s, u"مرحبا ١٢٣ شكرا"_s, u"salut ١٢٣ merci"_s);
    byWay("Thai without spaces", u"th"_s, u"fr"_s, u"สวัสดีครับขอบคุณ"_s, u"salutครับขอบคุณ"_s);
    byWay("full-width forms", u"ja"_s, u"fr"_s, u"ＡＢＣ１２３！ 感謝"_s, u"ＡＢＣ１２３！ merci"_s);
    byWay("emoji", u"de"_s, u"fr"_s, u"danke 👩‍👩‍👧 und 🇩🇪 danke"_s,
          u"merci 👩‍👩‍👧 et 🇩🇪 merci"_s);
}

void NeuralEngineTest::whatIsAroundTheModelStaysWhole() {
    QFETCH(const QString, source);
    QFETCH(const QString, target);
    QFETCH(const QString, text);
    QFETCH(const QString, translation);
    Dictionary german = germanToEnglish();
    german.emplace_back("Straße", "street");
    offer(u"de-en"_s, german);
    offer(u"tr-en"_s, {{"İstanbul", "Istanbul"}, {"ılık", "warm"}, {"ve", "and"}});
    offer(u"ar-en"_s, {{"مرحبا", "hello"}, {"شكرا", "thanks"}});
    offer(u"th-en"_s, {{"สวัสดี", "hello"}, {"ขอบคุณ", "thanks"}});
    offer(u"ja-en"_s, {{"感謝", "thanks"}});
    Dictionary french = englishToFrench;
    french.emplace_back("warm", "chaud");
    offer(u"en-fr"_s, french);
    install(source + u"-en"_s);
    install(u"en-fr"_s);
    QCOMPARE(this->translation(source, target, text), translation);
}

QTEST_GUILESS_MAIN(NeuralEngineTest)
#include "NeuralEngineTest.moc"
