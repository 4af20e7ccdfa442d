#include "models/Models.h"
#include "models/ModelShelf.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::DownloadAnswer;
using platform::ModelTask;
using Standing = ModelNeed::Standing;

namespace {

const ModelTask hearGerman = ModelTask::hearing(u"de-DE"_s);
const ModelTask germanToEnglish = ModelTask::translating(u"de"_s, u"en"_s);
const ModelTask germanToFrench = ModelTask::translating(u"de"_s, u"fr"_s);
const ModelTask englishToRussian = ModelTask::translating(u"en"_s, u"ru"_s);

} // namespace

/// From what a person wants to the models that it takes.
class ModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<FakePlatform>();
        fillShelf(*m_platform);
        m_models = std::make_unique<Models>(m_platform->models, m_platform->routes, m_platform->consent);
        m_platform->run();
        m_platform->log.clear();
    }
    void cleanup() {
        m_models.reset();
        m_platform.reset();
    }

    // What a task takes.

    void aTaskTakesTheRecommendedModel() {
        const ModelNeed need = m_models->need(englishToRussian);
        QCOMPARE(need.standing, Standing::missing);
        QCOMPARE(need.missing, QStringList{u"en-ru-tiny"_s});
        QCOMPARE(need.size, (DownloadSize{14'000'000, true}));
        QVERIFY(!need.percent);
        QVERIFY(!need.isByWayOfEnglish);
    }

    void aTaskWhoseModelIsThereIsReady() {
        m_platform->models.place(u"en-ru-tiny"_s, u"1"_s);
        QCOMPARE(m_models->need(englishToRussian), ModelNeed{});
    }

    void aTaskThatTheSystemDoesTakesNothing() {
        const auto task = ModelTask::translating(u"en"_s, u"es"_s);
        m_platform->routes.comesWithSystem(task);
        QCOMPARE(m_models->need(task), ModelNeed{});
    }

    void aTaskThatNothingDoesIsUnserved() {
        QCOMPARE(m_models->need(ModelTask::hearing(u"kk-KZ"_s)).standing, Standing::unserved);
    }

    void aPairByWayOfEnglishTakesTwoModels() {
        const ModelNeed need = m_models->need(germanToFrench);
        QCOMPARE(need.missing, (QStringList{u"de-en-tiny"_s, u"en-fr-tiny"_s}));
        QCOMPARE(need.size, (DownloadSize{30'000'000, true}));
        QVERIFY(need.isByWayOfEnglish);
    }

    void ofAPairByWayOfEnglishOnlyWhatIsNotThereIsMissing() {
        m_platform->models.place(u"de-en-tiny"_s, u"1"_s);
        QCOMPARE(m_models->need(germanToFrench).missing, QStringList{u"en-fr-tiny"_s});
    }

    void aDamagedModelIsMissing() {
        m_platform->models.place(u"en-ru-tiny"_s, u"1"_s);
        m_platform->models.damage(u"en-ru-tiny"_s, u"A file is gone."_s);
        const ModelNeed need = m_models->need(englishToRussian);
        QCOMPARE(need.standing, Standing::missing);
        QCOMPARE(need.missing, QStringList{u"en-ru-tiny"_s});
    }

    void whatIsOnItsWayIsNotToBeDownloadedAgain() {
        m_platform->models.install(u"de-en-tiny"_s);
        const ModelNeed need = m_models->need(germanToFrench);
        QCOMPARE(need.standing, Standing::missing);
        QCOMPARE(need.missing, QStringList{u"en-fr-tiny"_s});
        QCOMPARE(need.size, (DownloadSize{14'000'000, true}));
    }

    void whatIsWhollyOnItsWayArrives() {
        m_platform->models.install(u"en-ru-tiny"_s);
        m_platform->models.progress(received(7'000'000, 14'000'000));
        const ModelNeed need = m_models->need(englishToRussian);
        QCOMPARE(need.standing, Standing::arriving);
        QCOMPARE(need.percent, std::optional(50));
    }

    void howFarSeveralModelsAreIsSaidTogether() {
        m_platform->models.install(u"de-en-tiny"_s);
        m_platform->models.install(u"en-fr-tiny"_s);
        m_platform->models.progress(received(15'000'000, 16'000'000));
        QCOMPARE(m_models->need(germanToFrench).percent, std::optional(50)); // of 30 MB
    }

    void noMoreThanAllOfAModelHasCome() {
        m_platform->models.install(u"en-ru-tiny"_s);
        m_platform->models.progress(received(15'000'000, 14'000'000)); // its publisher has replaced it
        QCOMPARE(m_models->need(englishToRussian).percent, std::optional(100));
    }

    void whatIsPausedIsMissing() {
        m_platform->models.install(u"en-ru-tiny"_s);
        m_platform->models.progress(received(7'000'000, 14'000'000));
        m_platform->models.pause(u"en-ru-tiny"_s);
        QCOMPARE(m_models->need(englishToRussian).standing, Standing::missing);
    }

    void aModelOfUnknownSizeLeavesTheSumOpen() {
        auto model = speechModel(u"kroko-de"_s, u"de"_s, 0);
        model.downloadSize.reset();
        m_platform->models.offer(model);
        QCOMPARE(m_models->need({hearGerman, germanToEnglish}).size, (DownloadSize{16'000'000, false}));
    }

    void aModelThatSaysOnlyItsInstalledSizeIsEstimatedByThat() {
        auto model = speechModel(u"kroko-de"_s, u"de"_s, 0);
        model.downloadSize.reset();
        model.installedSize = 90'000'000;
        m_platform->models.offer(model);
        QCOMPARE(m_models->need(hearGerman).size, (DownloadSize{90'000'000, true, true}));
    }

    void aWholeLanguageTakesWhatItsPartsTake() {
        const ModelNeed need = m_models->need({hearGerman, germanToEnglish});
        QCOMPARE(need.standing, Standing::missing);
        QCOMPARE(need.missing, (QStringList{u"kroko-de"_s, u"de-en-tiny"_s}));
        QCOMPARE(need.size, (DownloadSize{87'000'000, true}));
    }

    void aModelThatTwoTasksShareIsTakenOnce() {
        const ModelNeed need = m_models->need({germanToEnglish, germanToFrench});
        QCOMPARE(need.missing, (QStringList{u"de-en-tiny"_s, u"en-fr-tiny"_s}));
    }

    // Getting it.

    void installingATaskGetsAllThatItLacks() {
        m_models->install(germanToFrench);
        QCOMPARE(m_platform->log.take(),
                 (QStringList{u"models.install de-en-tiny"_s, u"models.install en-fr-tiny"_s}));
    }

    void installingATaskThatIsReadyGetsNothing() {
        m_platform->models.place(u"en-ru-tiny"_s, u"1"_s);
        m_models->install(englishToRussian);
        QVERIFY(m_platform->log.take().isEmpty());
    }

    void installingAChoiceHasItDoTheTask() {
        m_models->install(englishToRussian, u"en-ru-base"_s);
        QCOMPARE(m_platform->routes.chosen(englishToRussian), u"en-ru-base"_s);
        QCOMPARE(m_platform->models.waiting(), QStringList{u"en-ru-base"_s});
    }

    void installingTheRecommendedChoiceLeavesItToTheRecommendation() {
        m_models->install(englishToRussian, u"en-ru-base"_s);
        m_models->install(englishToRussian, u"en-ru-tiny"_s);
        QCOMPARE(m_platform->routes.chosen(englishToRussian), QString());
    }

    // Asking.

    void whatAChosenTaskLacksIsAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::notNow);
        m_models->request({germanToFrench});
        m_platform->run();
        QCOMPARE(m_platform->consent.shown,
                 (QList<platform::DownloadQuestion>{{{germanToFrench}, {u"de-en-tiny"_s, u"en-fr-tiny"_s}}}));
        QVERIFY(m_platform->models.waiting().isEmpty());
    }

    void whoAgreesGetsIt() {
        m_platform->consent.seatPerson(DownloadAnswer::download);
        m_models->request({germanToFrench});
        m_platform->run();
        QCOMPARE(m_platform->models.waiting(), (QStringList{u"de-en-tiny"_s, u"en-fr-tiny"_s}));
    }

    void whoDeclinedIsAskedAgainOnceHeChoosesAgain() {
        m_platform->consent.seatPerson(DownloadAnswer::notNow);
        m_models->request({englishToRussian});
        m_platform->run();
        m_models->request({englishToRussian});
        m_platform->run();
        QCOMPARE(m_platform->consent.shown.size(), 2);
    }

    void whatIsReadyIsNotAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::download);
        m_platform->models.place(u"en-ru-tiny"_s, u"1"_s);
        m_models->request({englishToRussian});
        m_platform->run();
        QVERIFY(m_platform->consent.shown.isEmpty());
    }

    void whatIsOnItsWayIsNotAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::download);
        m_platform->models.install(u"en-ru-tiny"_s);
        m_models->request({englishToRussian});
        m_platform->run();
        QVERIFY(m_platform->consent.shown.isEmpty());
    }

    void onlyWhatIsNotOnItsWayYetIsAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::notNow);
        m_platform->models.install(u"de-en-tiny"_s);
        m_models->request({germanToFrench});
        m_platform->run();
        QCOMPARE(m_platform->consent.shown,
                 (QList<platform::DownloadQuestion>{{{germanToFrench}, {u"en-fr-tiny"_s}}}));
    }

    void whatIsRejectedIsNotAskedForAgain() {
        m_platform->consent.seatPerson(DownloadAnswer::download);
        m_platform->models.place(u"en-fr-tiny"_s, u"1"_s);
        m_platform->models.reject(u"en-fr-tiny"_s, u"1"_s, u"It does not work."_s);
        m_models->request({germanToFrench});
        m_platform->run();
        QVERIFY(m_platform->consent.shown.isEmpty());
    }

    void aNewerVersionThanTheRejectedOneIsAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::notNow);
        m_platform->models.place(u"en-fr-tiny"_s, u"0"_s);
        m_platform->models.reject(u"en-fr-tiny"_s, u"0"_s, u"It does not work."_s);
        m_models->request({ModelTask::translating(u"en"_s, u"fr"_s)});
        m_platform->run();
        QCOMPARE(m_platform->consent.shown.size(), 1);
    }

    void whatNothingDoesIsNotAskedFor() {
        m_platform->consent.seatPerson(DownloadAnswer::download);
        m_models->request({ModelTask::hearing(u"kk-KZ"_s)});
        m_platform->run();
        QVERIFY(m_platform->consent.shown.isEmpty());
    }

    void anAnswerThatComesAfterTheEndDoesNothing() {
        platform::ModelConsent::Reply reply;
        m_platform->consent.setPresenter([&](const auto &, const auto &r) { reply = r; });
        m_models->request({englishToRussian});
        m_platform->run();
        m_models.reset();
        reply(DownloadAnswer::download);
        m_platform->run();
        QVERIFY(m_platform->models.waiting().isEmpty());
    }

    // Changes.

    void aChangeInTheStoreIsTold() {
        QSignalSpy changes(m_models.get(), &Models::changed);
        m_platform->models.place(u"kroko-de"_s, u"1"_s);
        m_platform->run();
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes.first().first().toString(), u"kroko-de"_s);
    }

    void aChoiceIsTold() {
        QSignalSpy choices(m_models.get(), &Models::chosen);
        m_models->choose(englishToRussian, u"en-ru-base"_s);
        QCOMPARE(choices.size(), 1);
    }

    void nobodyObservesTheStoreAfterTheEnd() {
        m_models.reset();
        QCOMPARE(m_platform->models.observerCount(), 0);
    }

    void whatIsNotInTheCatalogIsKnownByItsIdAlone() {
        platform::ModelDescription unknown;
        unknown.id = u"gone"_s;
        QCOMPARE(m_models->description(u"gone"_s), unknown);
    }

private:
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<Models> m_models;
};

QTEST_GUILESS_MAIN(ModelsTest)
#include "ModelsTest.moc"
