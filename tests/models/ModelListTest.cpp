#include "models/ModelList.h"
#include "models/ModelActions.h"
#include "models/ModelShelf.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::ModelTask;
using Action = ModelAction;
using Owner = FakeModelStore::Owner;

namespace {

const ModelTask englishToRussian = ModelTask::translating(u"en"_s, u"ru"_s);
const QString tiny = u"en-ru-tiny"_s;
const QString base = u"en-ru-base"_s;

} // namespace

/// What there is to choose from, and what can be done with it.
class ModelListTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<FakePlatform>();
        fillShelf(*m_platform);
        m_models = std::make_unique<Models>(m_platform->models, m_platform->routes, m_platform->consent);
    }
    void cleanup() {
        m_models.reset();
        m_platform.reset();
    }

    void speechIsListedByTheLocalesThatAModelHears() {
        const auto entries = ModelList::speech(*m_models, {u"kk-KZ"_s, u"ru-RU"_s, u"de-DE"_s});
        QCOMPARE(entries,
                 (QList<ModelEntry>{{ModelTask::hearing(u"ru-RU"_s), {u"vosk-ru"_s}, u"vosk-ru"_s},
                                    {ModelTask::hearing(u"de-DE"_s), {u"kroko-de"_s}, u"kroko-de"_s}}));
    }

    void twoLocalesOfOneLanguageAreTwoTasks() {
        m_platform->routes.offer(ModelTask::hearing(u"de-AT"_s), {u"kroko-de"_s});
        const auto entries = ModelList::speech(*m_models, {u"de-AT"_s, u"de-DE"_s});
        QCOMPARE(entries,
                 (QList<ModelEntry>{{ModelTask::hearing(u"de-AT"_s), {u"kroko-de"_s}, u"kroko-de"_s},
                                    {ModelTask::hearing(u"de-DE"_s), {u"kroko-de"_s}, u"kroko-de"_s}}));
    }

    void whatTellsPausesIsListedWhereThereIsAModelForIt() {
        QVERIFY(!ModelList::pauses(*m_models));
        const auto task = ModelTask::tellingPauses();
        m_platform->models.offer(voiceActivityModel(u"silero-vad"_s));
        m_platform->routes.offer(task, {u"silero-vad"_s});
        QCOMPARE(ModelList::pauses(*m_models), (ModelEntry{task, {u"silero-vad"_s}, u"silero-vad"_s}));
    }

    void pairsAreListedByTheOtherLanguageAndFromEnglishFirst() {
        QStringList pairs;
        for (const auto &entry : ModelList::translation(*m_models, {u"ru"_s, u"en"_s, u"fr"_s, u"de"_s}))
            pairs += entry.task.languages.join(u'>');
        QCOMPARE(pairs,
                 (QStringList{u"en>ru"_s, u"ru>en"_s, u"en>fr"_s, u"fr>en"_s, u"en>de"_s, u"de>en"_s}));
    }

    void anEntryHasAllChoicesAndIsLedByTheRecommendedOne() {
        const auto entry = ModelList::translation(*m_models, {u"ru"_s}).first();
        QCOMPARE(entry.choices, (QStringList{tiny, base}));
        QCOMPARE(entry.lead, tiny);
    }

    void anEntryIsLedByWhatDoesTheTask() {
        m_platform->models.place(base, u"1"_s);
        QCOMPARE(ModelList::translation(*m_models, {u"ru"_s}).first().lead, base);
    }

    void nothingLeadsWhatIsDoneWithoutTheChoices() {
        m_platform->routes.comesWithSystem(englishToRussian);
        QVERIFY(!ModelList::lead(*m_models, englishToRussian, {tiny, base}));
        QCOMPARE(ModelList::translation(*m_models, {u"ru"_s}).first().lead, tiny);
    }

    // What can be done with a model.

    void whatIsNotThereCanBeInstalled() { QCOMPARE(offered(tiny), QList{Action::install}); }

    void whatIsOnItsWayCanBePausedOrCancelled() {
        m_platform->models.install(tiny);
        QCOMPARE(offered(tiny), (QList{Action::pause, Action::cancel}));
    }

    void whatIsPausedCanBeResumedOrCancelled() {
        pauseHalfway(tiny);
        QCOMPARE(offered(tiny), (QList{Action::resume, Action::cancel}));
    }

    void anUpdateThatIsPausedLeavesWhatIsThereToBeUsedAndRemoved() {
        m_platform->models.place(tiny, u"0"_s);
        pauseHalfway(tiny);
        QCOMPARE(offered(tiny), (QList{Action::resume, Action::cancel, Action::remove}));
        m_platform->models.place(base, u"1"_s);
        m_models->choose(englishToRussian, base);
        QCOMPARE(offered(tiny), (QList{Action::resume, Action::use, Action::cancel, Action::remove}));
    }

    void aRepairThatIsPausedLeavesWhatIsThereToBeRemoved() {
        m_platform->models.place(tiny, u"1"_s);
        m_platform->models.damage(tiny, u"A file is gone."_s);
        pauseHalfway(tiny);
        QCOMPARE(offered(tiny), (QList{Action::resume, Action::cancel, Action::remove}));
    }

    void anUpdateOfAnAdministratorsModelThatIsPausedCanBeResumedOrCancelled() {
        m_platform->models.place(tiny, u"0"_s, {}, Owner::administrator);
        pauseHalfway(tiny);
        QCOMPARE(offered(tiny), (QList{Action::resume, Action::cancel}));
    }

    void whatIsInUseCanBeRemoved() {
        m_platform->models.place(tiny, u"1"_s);
        QCOMPARE(offered(tiny), QList{Action::remove});
    }

    void whatIsThereBesideWhatIsInUseCanBeUsed() {
        m_platform->models.place(tiny, u"1"_s);
        m_platform->models.place(base, u"1"_s);
        QCOMPARE(offered(base), (QList{Action::use, Action::remove}));
    }

    void whatAnAdministratorInstalledIsLeftAlone() {
        m_platform->models.place(tiny, u"1"_s, {}, Owner::administrator);
        QVERIFY(offered(tiny).isEmpty());
    }

    void whatIsOldCanBeUpdated() {
        m_platform->models.place(tiny, u"0"_s);
        QCOMPARE(offered(tiny), (QList{Action::update, Action::remove}));
    }

    void anUpdateIsOfferedWhereAnInstallationWouldBringOne_data() {
        QTest::addColumn<QString>("published");
        QTest::addColumn<QString>("installed");
        QTest::addColumn<bool>("isOffered");
        QTest::newRow("a greater number") << u"10"_s << u"9"_s << true;
        QTest::newRow("a smaller number") << u"9"_s << u"10"_s << false;
        QTest::newRow("a letter that comes later") << u"1.0a"_s << u"1.0B"_s << true;
        QTest::newRow("a letter that comes earlier") << u"1.0B"_s << u"1.0a"_s << false;
    }
    void anUpdateIsOfferedWhereAnInstallationWouldBringOne() {
        QFETCH(QString, published);
        QFETCH(QString, installed);
        QFETCH(bool, isOffered);
        auto model = m_models->description(tiny);
        model.version = published;
        m_platform->models.offer(model);
        m_platform->models.place(tiny, installed);
        QCOMPARE(offered(tiny).contains(Action::update), isOffered);
        m_platform->models.install(tiny);
        QCOMPARE(m_platform->models.waiting().contains(tiny), isOffered);
    }

    void whatIsDamagedCanBeRepaired() {
        m_platform->models.place(tiny, u"1"_s);
        m_platform->models.damage(tiny, u"A file is gone."_s);
        QCOMPARE(offered(tiny), (QList{Action::repair, Action::remove}));
    }

    void whatAnEngineRejectedCanBeInstalledAnewOrRemoved() {
        m_platform->models.place(tiny, u"1"_s);
        m_platform->models.reject(tiny, u"1"_s, u"It does not work."_s);
        QCOMPARE(offered(tiny), (QList{Action::repair, Action::remove}));
    }

    void whatLeavesCanBeKept() {
        m_platform->models.place(tiny, u"1"_s);
        const auto use = m_platform->models.use(tiny);
        m_platform->models.remove(tiny);
        QCOMPARE(offered(tiny), QList{Action::keep});
        perform(Action::keep, tiny);
        QCOMPARE(offered(tiny), QList{Action::remove});
    }

    void eachActionIsTheStoresOwn_data() {
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("call");
        QTest::newRow("install") << int(Action::install) << u"models.install en-ru-tiny"_s;
        QTest::newRow("resume") << int(Action::resume) << u"models.install en-ru-tiny"_s;
        QTest::newRow("repair") << int(Action::repair) << u"models.install en-ru-tiny"_s;
        QTest::newRow("update") << int(Action::update) << u"models.install en-ru-tiny"_s;
        QTest::newRow("pause") << int(Action::pause) << u"models.pause en-ru-tiny"_s;
        QTest::newRow("cancel") << int(Action::cancel) << u"models.cancel en-ru-tiny"_s;
        QTest::newRow("remove") << int(Action::remove) << u"models.remove en-ru-tiny"_s;
    }
    void eachActionIsTheStoresOwn() {
        QFETCH(int, action);
        m_platform->log.clear();
        perform(Action(action), tiny);
        QTEST(m_platform->log.take().join(u", "_s), "call");
    }

    void usingAModelChoosesIt() {
        m_platform->models.place(tiny, u"1"_s);
        m_platform->models.place(base, u"1"_s);
        perform(Action::use, base);
        QVERIFY(ModelActions::isInUse(*m_models, englishToRussian, base));
        QVERIFY(!ModelActions::isInUse(*m_models, englishToRussian, tiny));
    }

    void whatIsRemovedIsNoLongerChosen() {
        m_models->install(englishToRussian, base);
        m_platform->models.arrive();
        perform(Action::remove, base);
        QCOMPARE(m_platform->routes.chosen(englishToRussian), QString());
    }

    void theButtonsSayWhatTheyDo() {
        const QList all{Action::install, Action::resume, Action::repair, Action::use,   Action::update,
                        Action::keep,    Action::pause,  Action::cancel, Action::remove};
        QStringList names;
        for (const Action action : all)
            names += name(action);
        QCOMPARE(names, (QStringList{u"Install"_s, u"Resume"_s, u"Repair"_s, u"Use"_s, u"Update"_s, u"Keep"_s,
                                     u"Pause"_s, u"Cancel"_s, u"Remove"_s}));
    }

private:
    void pauseHalfway(const QString &id) {
        m_platform->models.install(id);
        m_platform->models.progress(received(1));
        m_platform->models.pause(id);
    }
    QList<ModelAction> offered(const QString &id) const {
        return ModelActions::offered(*m_models, englishToRussian, id);
    }
    void perform(ModelAction action, const QString &id) const {
        ModelActions::perform(action, *m_models, englishToRussian, id);
    }

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<Models> m_models;
};

QTEST_GUILESS_MAIN(ModelListTest)
#include "ModelListTest.moc"
