#include "platform/linux/routing/EngineRoutes.h"

#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelStore.h"
#include "platform/linux/models/ModelCatalog.h"

#include <QTemporaryDir>
#include <QTest>

using namespace quillora;
using namespace quillora::platform;

/// What the program's own catalog comes to: which model is recommended on which computer, and which pairs
/// there is no way for.
class EngineRoutesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_folder.emplace();
        m_store.emplace(m_log, m_queue);
        const ModelCatalog catalog({ModelCatalog::standardFiles().first()}, {u"neural"_qs, u"sherpa"_qs});
        QCOMPARE(catalog.omissions(), QStringList());
        for (const CatalogEntry &entry : catalog.entries())
            m_store->offer(entry.description);
    }

    void theFirstChoiceIsWorthItsSizeOnThisComputer_data() {
        QTest::addColumn<Computer>("computer");
        QTest::addColumn<ModelTask>("task");
        QTest::addColumn<QString>("first");
        const auto row = [](const char *name, const Computer &computer, const ModelTask &task,
                            const QString &first) { QTest::newRow(name) << computer << task << first; };
        const auto russian = ModelTask::translating(u"en"_qs, u"ru"_qs);
        row("much better and not much larger", roomy, russian, u"en-ru-base-memory"_qs);
        row("little memory", {qint64(2) << 30, 4}, russian, u"en-ru-tiny"_qs);
        row("one core", {qint64(16) << 30, 1}, russian, u"en-ru-tiny"_qs);
        row("hardly better", roomy, ModelTask::translating(u"fr"_qs, u"en"_qs), u"fr-en-tiny"_qs);
        row("larger and worse", roomy, ModelTask::translating(u"en"_qs, u"ja"_qs), u"en-ja-base-memory"_qs);
        row("without a score", roomy, ModelTask::translating(u"en"_qs, u"zh"_qs), u"en-zh-base-memory"_qs);
        row("heard with room", roomy, ModelTask::hearing(u"de-DE"_qs), u"nemotron-3.5-320ms"_qs);
        row("heard without", {qint64(4) << 30, 2}, ModelTask::hearing(u"de-DE"_qs), u"kroko-de"_qs);
    }

    void theFirstChoiceIsWorthItsSizeOnThisComputer() {
        QFETCH(const Computer, computer);
        QFETCH(const ModelTask, task);
        QTEST(routes(computer).choices(task).value(0), "first");
    }

    void everyPairHasAWayButThoseThatNobodyPublishes() {
        const QStringList languages{u"ar"_qs, u"de"_qs, u"en"_qs, u"es"_qs, u"fr"_qs, u"id"_qs,
                                    u"it"_qs, u"ja"_qs, u"ko"_qs, u"nl"_qs, u"pl"_qs, u"pt"_qs,
                                    u"ru"_qs, u"th"_qs, u"tr"_qs, u"uk"_qs, u"vi"_qs, u"zh"_qs};
        const EngineRoutes all = routes(roomy);
        for (const QString &source : languages) {
            for (const QString &target : languages) {
                const auto route = all.route(ModelTask::translating(source, target));
                const bool isPublished =
                    source == target || (source != u"th" && target != u"th" && target != u"vi");
                QVERIFY2(route.has_value() == isPublished, qPrintable(source + u'>' + target));
                if (!route || source == target)
                    continue;
                const bool isByWay = source != u"en" && target != u"en";
                QCOMPARE(route->isByWayOfEnglish, isByWay);
                QCOMPARE(route->models.size(), isByWay ? 2 : 1);
            }
        }
    }

    void aModelWhoseEngineIsNotBuiltInDoesNothing() {
        const EngineRoutes deaf(*m_store, {u"neural"_qs}, nothing, roomy, path());
        QVERIFY(!deaf.route(ModelTask::hearing(u"de-DE"_qs)));
        QVERIFY(deaf.route(ModelTask::translating(u"en"_qs, u"ru"_qs)));
    }

    void aModelHearsItsLanguageInEveryRegion() {
        for (const QString &locale : {u"de-DE"_qs, u"de-AT"_qs, u"de"_qs})
            QVERIFY(routes(roomy).choices(ModelTask::hearing(locale)).contains(u"kroko-de"_qs));
    }

private:
    static bool nothing(const ModelTask & /*task*/) { return false; }
    QString path() const { return m_folder->filePath(u"chosen.json"_qs); }
    EngineRoutes routes(const Computer &computer) const {
        return {*m_store, {u"neural"_qs, u"sherpa"_qs}, nothing, computer, path()};
    }

    static constexpr Computer roomy{qint64(16) << 30, 8};

    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    std::optional<QTemporaryDir> m_folder;
    std::optional<test::FakeModelStore> m_store;
};

QTEST_GUILESS_MAIN(EngineRoutesTest)
#include "EngineRoutesTest.moc"
