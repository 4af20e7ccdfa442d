#include "platform/linux/translation/NeuralEngine.h"

#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelConsent.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelStore.h"
#include "support/ChildProcess.h"
#include "support/ModelDescriptions.h"
#include "support/Outcome.h"
#include "support/Sessions.h"
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <fstream>

using namespace quillora::platform;
using namespace quillora::test;

namespace {

using TextOutcome = std::shared_ptr<Outcome<QString>>;

const Dictionary englishToFrench{{"hello", "salut"}, {"this", "ceci"},
                                 {"This", "Ceci"},   {"is", "est"},
                                 {"a", "un"},        {"test", "essai"},
                                 {"and", "et"},      {"thanks", "merci"},
                                 {"good", "bon"},    {"translation", "traduction"}};

std::size_t residentBytes() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * 4096;
}

} // namespace

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
    void install(const QString &id) { m_store->place(id, u"1"_qs, m_folder->filePath(id)); }
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
    qsizetype uses(const QString &id) const { return m_log.calls().count(u"models.use "_qs + id); }

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
    offer(u"de-en"_qs, germanToEnglish());
    offer(u"en-fr"_qs, englishToFrench);
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
    install(u"de-en"_qs);
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"Das ist ein Test und danke."_qs),
             u"This is a test and thanks."_qs);
    QVERIFY(m_consent->shown.isEmpty());
}

void NeuralEngineTest::aPairWithoutOneIsTranslatedByWayOfEnglish() {
    install(u"de-en"_qs);
    install(u"en-fr"_qs);
    QCOMPARE(translation(u"de"_qs, u"fr"_qs, u"Das ist ein Test. hallo und danke\n das Übersetzung"_qs),
             u"Ceci est un essai. salut et merci\n ceci traduction"_qs);
}

void NeuralEngineTest::aPairThatNoModelServesHasNoSession() { QVERIFY(!session(u"fr"_qs, u"de"_qs)); }

void NeuralEngineTest::aPairThatTheSystemServesHasNoSession() {
    m_routes->comesWithSystem(ModelTask::translating(u"en"_qs, u"fr"_qs));
    QVERIFY(!session(u"en"_qs, u"fr"_qs));
    install(u"en-fr"_qs);
    QVERIFY(session(u"en"_qs, u"fr"_qs));
}

void NeuralEngineTest::whatIsMissingIsAskedForAndInstalled() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_qs, u"en"_qs), u"danke"_qs));
    m_queue->run();
    QCOMPARE(m_consent->shown,
             (QList{DownloadQuestion{{ModelTask::translating(u"de"_qs, u"en"_qs)}, {u"de-en"_qs}}}));
    QCOMPARE(m_store->underWay(), u"de-en"_qs);
    QVERIFY(!outcome->isDone());
    install(u"de-en"_qs);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"thanks"_qs);
}

void NeuralEngineTest::bothHalvesAreOneQuestionAndBothAreWaitedFor() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_qs, u"fr"_qs), u"danke"_qs));
    m_queue->run();
    QCOMPARE(m_consent->shown, (QList{DownloadQuestion{{ModelTask::translating(u"de"_qs, u"fr"_qs)},
                                                       {u"de-en"_qs, u"en-fr"_qs}}}));
    QCOMPARE(m_store->waiting(), (QStringList{u"de-en"_qs, u"en-fr"_qs}));
    install(u"de-en"_qs);
    m_queue->run();
    QVERIFY(!outcome->isDone());
    install(u"en-fr"_qs);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"merci"_qs);
}

void NeuralEngineTest::whoAgreesGetsWhatHeChoseMeanwhile() {
    offer(u"de-en-base"_qs, {{"danke", "cheers"}});
    m_routes->offer(ModelTask::translating(u"de"_qs, u"en"_qs), {u"de-en"_qs, u"de-en-base"_qs});
    std::vector<FakeModelConsent::Reply> replies;
    m_consent->setPresenter([&](const DownloadQuestion &, const auto &reply) { replies.push_back(reply); });
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_qs, u"en"_qs), u"danke"_qs));
    m_routes->choose(ModelTask::translating(u"de"_qs, u"en"_qs), u"de-en-base"_qs);
    m_store->install(u"de-en-base"_qs);
    replies.front()(DownloadAnswer::download);
    m_queue->run();
    QCOMPARE(m_store->waiting(), QStringList{u"de-en-base"_qs});
    install(u"de-en-base"_qs);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"cheers"_qs);
}

void NeuralEngineTest::onlyWhatIsMissingIsAskedFor() {
    m_consent->seatPerson(DownloadAnswer::notNow);
    install(u"en-fr"_qs);
    outcomeOf(prepared(session(u"de"_qs, u"fr"_qs)));
    QCOMPARE(m_consent->shown.value(0).models, QStringList{u"de-en"_qs});
}

void NeuralEngineTest::whatIsOnItsWayIsWaitedForWithoutAQuestion() {
    m_consent->seatPerson(DownloadAnswer::notNow);
    m_store->install(u"de-en"_qs);
    const auto outcome = Outcome<QString>::of(translated(session(u"de"_qs, u"en"_qs), u"danke"_qs));
    m_queue->run();
    QVERIFY(m_consent->shown.isEmpty());
    install(u"de-en"_qs);
    QVERIFY(wait([&] { return outcome->isDone(); }));
    QCOMPARE(outcome->value(), u"thanks"_qs);
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
        "again, or open Models in the tray menu."_qs);
    row(
        "cancelled", DownloadAnswer::download, [](FakeModelStore &store) { store.cancel(u"de-en"_qs); },
        u"The download for German to English was cancelled. Translate again to be asked again, or open "
        u"Models "
        "in the tray menu."_qs);
    row(
        "paused", DownloadAnswer::download,
        [](FakeModelStore &store) {
            ModelProgress progress;
            progress.step = ModelProgress::Step::downloading;
            progress.receivedBytes = 1000;
            store.progress(progress);
            store.pause(u"de-en"_qs);
        },
        u"The download for German to English is paused. Go on with it under Models in the tray menu."_qs);
    row(
        "failed", DownloadAnswer::download,
        [](FakeModelStore &store) { store.fail(u"publisher.example answered with the error 404."_qs); },
        u"The download for German to English failed: publisher.example answered with the error 404. Try "
        u"again "
        "under Models in the tray menu."_qs);
    row(
        "no space", DownloadAnswer::download,
        [](FakeModelStore &store) {
            store.fail(u"The model needs 14 MB on the disk, and 2 MB are free. Make room for it."_qs);
        },
        u"The download for German to English failed: The model needs 14 MB on the disk, and 2 MB are free. "
        u"Make room for it. Try again under Models in the tray menu."_qs);
    row(
        "offline", DownloadAnswer::download,
        [](FakeModelStore &store) {
            store.fail(u"Could not connect to publisher.example: there is no such host, or this computer is "
                       u"offline."_qs);
        },
        u"The download for German to English failed: Could not connect to publisher.example: there is no "
        u"such host, or this computer is offline. Try again under Models in the tray menu."_qs);
}

void NeuralEngineTest::whatDoesNotComeIsNamedWithWhatToDo() {
    QFETCH(const DownloadAnswer, answer);
    QFETCH(const std::function<void(FakeModelStore &)>, fate);
    QFETCH(const QString, sentence);
    m_consent->seatPerson(answer);
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    m_queue->run();
    fate(*m_store);
    m_queue->run();
    QVERIFY(outcome->isDone());
    QCOMPARE(outcome->error(), sentence);
}

void NeuralEngineTest::afterAFailureTheNextPreparationAsksAgain() {
    m_consent->seatPerson(DownloadAnswer::download);
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    m_queue->run();
    m_store->fail(u"It is away."_qs);
    m_queue->run();
    QVERIFY(outcome->isDone());
    const auto second = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    m_queue->run();
    QCOMPARE(m_consent->shown.size(), 2);
    install(u"de-en"_qs);
    QVERIFY(wait([&] { return second->isDone(); }));
    QCOMPARE(second->error(), QString());
}

void NeuralEngineTest::aDamagedModelIsNamedAndChecked() {
    install(u"de-en"_qs);
    m_store->damageSecretly(u"de-en"_qs, u"It is not what was installed."_qs);
    QVERIFY(QFile::resize(m_folder->filePath(u"de-en/model.xxyy.intgemm.alphas.bin"_qs), 1000));
    const auto outcome = outcomeOf(prepared(session(u"de"_qs, u"en"_qs)));
    QVERIFY2(outcome->error().startsWith(
                 u"The on-device translation from German to English cannot be used: The model"),
             qPrintable(outcome->error()));
    QVERIFY2(outcome->error().endsWith(u". Repair its model under Models in the tray menu."),
             qPrintable(outcome->error()));
    QCOMPARE(m_store->state(u"de-en"_qs).presence, ModelState::Presence::damaged);
}

void NeuralEngineTest::aModelOfAnotherKindIsNamed() {
    QVERIFY(QFile::remove(m_folder->filePath(u"de-en/vocab.xxyy.spm"_qs)));
    install(u"de-en"_qs);
    const auto outcome = outcomeOf(prepared(session(u"de"_qs, u"en"_qs)));
    QCOMPARE(outcome->error(), u"The on-device translation from German to English cannot be used: The "
                               u"vocabulary cannot be opened: : No "
                               "such file or directory. Repair its model under Models in the tray menu."_qs);
}

void NeuralEngineTest::aModelThatIsRemovedInMidSessionTranslatesOn() {
    install(u"de-en"_qs);
    const auto one = session(u"de"_qs, u"en"_qs);
    outcomeOf(prepared(one));
    m_store->remove(u"de-en"_qs);
    QVERIFY(QDir(m_folder->filePath(u"de-en"_qs)).removeRecursively());
    m_queue->run();
    const auto response = Outcome<TranslationResponse>::of(one->translate(u"danke"_qs));
    QVERIFY(wait([&] { return response->isDone(); }));
    QCOMPARE(response->value().targetText, u"thanks"_qs);
}

void NeuralEngineTest::aRemovedModelIsNotKeptInMemory() {
    install(u"de-en"_qs);
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
    m_store->remove(u"de-en"_qs);
    m_queue->run();
    QCOMPARE(m_store->state(u"de-en"_qs).presence, ModelState::Presence::absent);
    QCOMPARE(m_queue->delayedCount(), 0); // nothing is left to be given back
    m_consent->seatPerson(DownloadAnswer::notNow);
    outcomeOf(prepared(session(u"de"_qs, u"en"_qs)));
    QCOMPARE(m_consent->shown.size(), 1);
}

void NeuralEngineTest::anotherPairMayBeTranslatedMeanwhile() {
    install(u"de-en"_qs);
    install(u"en-fr"_qs);
    const auto first = Outcome<QString>::of(translated(session(u"de"_qs, u"en"_qs), u"hallo Welt"_qs));
    const auto second = Outcome<QString>::of(translated(session(u"en"_qs, u"fr"_qs), u"thanks"_qs));
    QVERIFY(wait([&] { return first->isDone() && second->isDone(); }));
    QCOMPARE(first->value(), u"hello world"_qs);
    QCOMPARE(second->value(), u"merci"_qs);
}

void NeuralEngineTest::theEndStopsATranslation() {
    // One that takes minutes.
    RandomModel random = measuredModels().front();
    const std::filesystem::path folder = m_folder->filePath(u"de-en"_qs).toStdString();
    QVERIFY(QFile::remove(m_folder->filePath(u"de-en/lex.50.50.xxyy.s2t.bin"_qs)));
    writeFile(folder / "model.xxyy.intgemm.alphas.bin", random.modelFile());
    writeFile(folder / "vocab.xxyy.spm", random.sourceVocabularyFile());
    RandomNumbers numbers(3);
    std::string text;
    for (const std::string &sentence : random.sentences(3000, 3, 22, numbers))
        text += sentence + ".\n";
    install(u"de-en"_qs);
    const auto one = session(u"de"_qs, u"en"_qs);
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
    outcomes += Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    m_store->install(u"en-fr"_qs); // one waits for a download
    outcomes += Outcome<QString>::of(prepared(session(u"en"_qs, u"fr"_qs)));
    offer(u"en-es"_qs, {{"thanks", "gracias"}});
    install(u"en-es"_qs); // one is being loaded
    outcomes += Outcome<QString>::of(prepared(session(u"en"_qs, u"es"_qs)));
    end();
    replies.front()(DownloadAnswer::download);
    m_queue->run();
    for (const auto &outcome : outcomes) {
        QVERIFY(outcome->isDone());
        QVERIFY(!outcome->error().isEmpty());
    }
}

void NeuralEngineTest::afterTheEndEverythingFails() {
    install(u"de-en"_qs);
    const auto one = session(u"de"_qs, u"en"_qs);
    outcomeOf(prepared(one));
    end();
    const QString ended = u"The on-device translation from German to English was ended."_qs;
    QCOMPARE(outcomeOf(prepared(one))->error(), ended);
    QCOMPARE(Outcome<TranslationResponse>::of(one->translate(u"danke"_qs))->error(), ended);
}

void NeuralEngineTest::aPairInUseIsLoadedOnce() {
    install(u"de-en"_qs);
    const auto first = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    const auto second = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    QVERIFY(wait([&] { return first->isDone() && second->isDone(); }));
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
    QCOMPARE(uses(u"de-en"_qs), 1);
}

void NeuralEngineTest::whatMayBeUsedSoonIsLoaded() {
    install(u"de-en"_qs);
    m_engine->warm(u"de"_qs, u"en"_qs);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 1; })); // which will give it back
    const auto outcome = Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)));
    QVERIFY(outcome->isDone());
    QCOMPARE(uses(u"de-en"_qs), 1);
}

void NeuralEngineTest::bothHalvesOfAWayAreLoaded() {
    install(u"de-en"_qs);
    install(u"en-fr"_qs);
    m_engine->warm(u"de"_qs, u"fr"_qs);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 2; }));
    QVERIFY(Outcome<QString>::of(prepared(session(u"de"_qs, u"fr"_qs)))->isDone());
}

void NeuralEngineTest::whatIsNotInstalledIsNotLoadedNorAskedFor() {
    m_consent->seatPerson(DownloadAnswer::download);
    m_engine->warm(u"de"_qs, u"en"_qs);
    m_engine->warm(u"fr"_qs, u"de"_qs);
    m_queue->run();
    QCOMPARE(m_log.calls(), QStringList());
}

void NeuralEngineTest::whatCannotBeLoadedSoonIsChecked() {
    install(u"de-en"_qs);
    m_store->damageSecretly(u"de-en"_qs, u"It is not what was installed."_qs);
    QVERIFY(QFile::resize(m_folder->filePath(u"de-en/model.xxyy.intgemm.alphas.bin"_qs), 1000));
    m_engine->warm(u"de"_qs, u"en"_qs);
    QVERIFY(wait([&] { return m_store->state(u"de-en"_qs).presence == ModelState::Presence::damaged; }));
}

void NeuralEngineTest::aModelThatNobodyKnowsIsAnErrorAndLeavesNothing() {
    NeuralModels models(*m_store, *m_queue);
    const auto outcome = Outcome<NeuralModels::Translator>::of(models.loaded(u"fr-de"_qs));
    QCOMPARE(outcome->error(), u"There is no model \"fr-de\"."_qs);
    ModelDescription description;
    description.id = u"fr-de"_qs;
    m_store->offer(description);
    m_queue->run(); // the models hear of it, and of their end
}

void NeuralEngineTest::aModelThatIsInNoCatalogAnyMoreIsAnError() {
    install(u"fr-de"_qs);
    NeuralModels models(*m_store, *m_queue);
    const auto outcome = Outcome<NeuralModels::Translator>::of(models.loaded(u"fr-de"_qs));
    QCOMPARE(outcome->error(), u"There is no model \"fr-de\"."_qs);
}

void NeuralEngineTest::afterTenIdleMinutesMemoryIsGivenBack() {
    install(u"de-en"_qs);
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
    m_queue->advance(std::chrono::minutes(10) - std::chrono::milliseconds(1));
    QVERIFY(Outcome<QString>::of(prepared(session(u"de"_qs, u"en"_qs)))->isDone()); // and begins anew
    m_queue->advance(std::chrono::minutes(10));
    m_engine->warm(u"de"_qs, u"en"_qs);
    QCOMPARE(uses(u"de-en"_qs), 2);
    QVERIFY(wait([&] { return m_queue->delayedCount() == 1; }));
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
    QCOMPARE(uses(u"de-en"_qs), 2);
}

void NeuralEngineTest::whatIsUsedMeanwhileStays() {
    install(u"de-en"_qs);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
        m_queue->advance(std::chrono::minutes(9));
    }
    QCOMPARE(uses(u"de-en"_qs), 1);
}

void NeuralEngineTest::aNewVersionTakesThePlaceOfTheOldOne() {
    install(u"de-en"_qs);
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"thanks"_qs);
    const QString folder = m_folder->filePath(u"new"_qs);
    QVERIFY(QDir().mkpath(folder));
    writePublishedModel(folder.toStdString(), {{"danke", "cheers"}});
    m_store->place(u"de-en"_qs, u"2"_qs, folder);
    m_queue->run();
    QCOMPARE(translation(u"de"_qs, u"en"_qs, u"danke"_qs), u"cheers"_qs);
}

void NeuralEngineTest::aHundredTranslationsInARowTakeNoMemory() {
    install(u"de-en"_qs);
    install(u"en-fr"_qs);
    const QString text = u"Das ist ein Test. hallo und danke "_qs.repeated(10);
    const QString expected = translation(u"de"_qs, u"fr"_qs, text);
    for (int i = 0; i < 20; ++i)
        translation(u"de"_qs, u"fr"_qs, text);
    const std::size_t before = residentBytes();
    for (int i = 0; i < 100; ++i)
        QCOMPARE(translation(u"de"_qs, u"fr"_qs, text), expected);
    const auto grown = std::ptrdiff_t(residentBytes()) - std::ptrdiff_t(before);
    qInfo("%td kB more after 100 translations", grown / 1024);
    QVERIFY(grown < 2 << 20);
    QCOMPARE(uses(u"de-en"_qs), 1);
}

void NeuralEngineTest::whatIsAroundTheModelStaysWhole_data() {
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("translation");
    const auto row = [](const char *name, const QString &source, const QString &text,
                        const QString &translation) { QTest::newRow(name) << source << text << translation; };
    row("a lone word", u"de"_qs, u"Straße"_qs, u"street"_qs);
    row("sharp s in capitals", u"de"_qs, u"STRASSE und Straße"_qs, u"STRASSE and street"_qs);
    row("a transcript of several sentences", u"de"_qs,
        u"hallo das ist ein Test und das ist ein Test danke danke"_qs,
        u"hello this is a test and this is a test thanks thanks"_qs);
    row("names and numbers", u"de"_qs, u"Łukasz Müller ist 42 und das ist 3,14."_qs,
        u"Łukasz Müller is 42 and this is 3,14."_qs);
    row("in the target language already", u"de"_qs, u"this is a test, thanks"_qs,
        u"this is a test, thanks"_qs);
    row("white space", u"de"_qs, u"\t hallo  \n\n danke \n"_qs, u"\t hello  \n\n thanks \n"_qs);
    row("dotted and dotless i", u"tr"_qs, u"İstanbul ılık ve Iğdır ıssız"_qs,
        u"Istanbul warm and Iğdır ıssız"_qs);
    row("Arabic digits", u"ar"_qs, u"مرحبا ١٢٣ شكرا"_qs, u"hello ١٢٣ thanks"_qs);
    row("Thai without spaces", u"th"_qs, u"สวัสดีครับขอบคุณ"_qs, u"helloครับขอบคุณ"_qs);
    row("Thai with spaces", u"th"_qs, u"สวัสดี ขอบคุณ"_qs, u"hello thanks"_qs);
    row("full-width forms", u"ja"_qs, u"ＡＢＣ１２３！ 感謝"_qs, u"ＡＢＣ１２３！ thanks"_qs);
    row("emoji", u"de"_qs, u"danke 👩‍👩‍👧 und 🇩🇪 danke"_qs,
        u"thanks 👩‍👩‍👧 and 🇩🇪 thanks"_qs);
}

void NeuralEngineTest::whatIsAroundTheModelStaysWhole() {
    QFETCH(const QString, source);
    QFETCH(const QString, text);
    QFETCH(const QString, translation);
    Dictionary german = germanToEnglish();
    german.emplace_back("Straße", "street");
    offer(u"de-en"_qs, german);
    offer(u"tr-en"_qs, {{"İstanbul", "Istanbul"}, {"ılık", "warm"}, {"ve", "and"}});
    offer(u"ar-en"_qs, {{"مرحبا", "hello"}, {"شكرا", "thanks"}});
    offer(u"th-en"_qs, {{"สวัสดี", "hello"}, {"ขอบคุณ", "thanks"}});
    offer(u"ja-en"_qs, {{"感謝", "thanks"}});
    install(source + u"-en"_qs);
    QCOMPARE(this->translation(source, u"en"_qs, text), translation);
}

QTEST_GUILESS_MAIN(NeuralEngineTest)
#include "NeuralEngineTest.moc"
