#include "platform/linux/routing/EngineRoutes.h"

#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelStore.h"
#include "platform/linux/models/ModelCatalog.h"
#include "support/SetVariable.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
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
        const ModelCatalog catalog({ModelCatalog::standardFiles().first()}, {u"neural"_s, u"sherpa"_s});
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
        const auto russian = ModelTask::translating(u"en"_s, u"ru"_s);
        row("much better and not much larger", roomy, russian, u"en-ru-base-memory"_s);
        row("little memory", {qint64(2) << 30, 4}, russian, u"en-ru-tiny"_s);
        row("one core", {qint64(16) << 30, 1}, russian, u"en-ru-tiny"_s);
        row("hardly better", roomy, ModelTask::translating(u"fr"_s, u"en"_s), u"fr-en-tiny"_s);
        row("as much better as it is larger", roomy, ModelTask::translating(u"pl"_s, u"en"_s),
            u"pl-en-tiny"_s);
        row("larger and worse", roomy, ModelTask::translating(u"en"_s, u"ja"_s), u"en-ja-base-memory"_s);
        row("without a score", roomy, ModelTask::translating(u"en"_s, u"zh"_s), u"en-zh-base-memory"_s);
        row("heard with room", roomy, ModelTask::hearing(u"de-DE"_s), u"nemotron-3.5-320ms"_s);
        row("heard without", {qint64(4) << 30, 2}, ModelTask::hearing(u"de-DE"_s), u"kroko-de"_s);
    }

    void theFirstChoiceIsWorthItsSizeOnThisComputer() {
        QFETCH(const Computer, computer);
        QFETCH(const ModelTask, task);
        QTEST(routes(computer).choices(task).value(0), "first");
    }

    void whatIsRecommendedToHearALanguage_data() {
        QTest::addColumn<QString>("onSmallComputers"); // which the middling one is, too
        QTest::addColumn<QString>("onRoomyOnes");
        const auto row = [](const char *locale, const QString &small, const QString &large) {
            QTest::newRow(locale) << small << large;
        };
        const QString nemotron = u"nemotron-3.5-320ms"_s, ten = u"fast-conformer-ten-languages"_s,
                      eight = u"eight-languages"_s, dolphin = u"dolphin-base"_s,
                      omnilingual = u"omnilingual-300m"_s;
        row("ar-SA", eight, nemotron);
        row("de-DE", u"kroko-de"_s, nemotron);
        row("en-US", u"kroko-en"_s, nemotron);
        row("es-ES", u"kroko-es"_s, nemotron);
        row("fr-FR", u"kroko-fr"_s, nemotron);
        row("id-ID", eight, eight);
        row("it-IT", ten, nemotron);
        row("ja-JP", u"sense-voice"_s, nemotron);
        row("kk-KZ", dolphin, omnilingual);
        row("ko-KR", u"zipformer-ko"_s, nemotron);
        row("ky-KG", dolphin, omnilingual);
        row("nl-NL", nemotron, nemotron);
        row("pl-PL", ten, u"parakeet-v3"_s);
        row("pt-BR", nemotron, nemotron);
        row("ru-RU", u"vosk-small-ru"_s, nemotron);
        row("th-TH", u"zipformer-th"_s, u"zipformer-th"_s);
        row("tr-TR", u"whisper-base"_s, nemotron);
        row("uk-UA", ten, nemotron);
        row("uz-UZ", dolphin, omnilingual);
        row("vi-VN", u"zipformer-vi"_s, nemotron);
        row("zh-CN", u"zipformer-small-zh"_s, u"sense-voice"_s);
    }
    void whatIsRecommendedToHearALanguage() {
        const auto recommended = [this](const Computer &computer) {
            const auto task = ModelTask::hearing(QString::fromLatin1(QTest::currentDataTag()));
            return routes(computer).choices(task).value(0);
        };
        QTEST(recommended({qint64(2) << 30, 1}), "onSmallComputers");
        QTEST(recommended({qint64(4) << 30, 2}), "onSmallComputers");
        QTEST(recommended({qint64(16) << 30, 8}), "onRoomyOnes");
    }

    void whereAModelIsWeakTheNextSmallerOnesGoFirst() {
        const auto chinese = ModelTask::hearing(u"zh-CN"_s);
        QCOMPARE(routes(roomy).choices(chinese),
                 (QStringList{u"sense-voice"_s, u"zipformer-zh"_s, u"nemotron-3.5-320ms"_s,
                              u"zipformer-small-zh"_s, u"eight-languages"_s}));
        QCOMPARE(routes({qint64(2) << 30, 1}).choices(chinese),
                 (QStringList{u"zipformer-small-zh"_s, u"sense-voice"_s, u"zipformer-zh"_s,
                              u"eight-languages"_s, u"nemotron-3.5-320ms"_s}));
    }

    void whatNeedsMoreThanHalfTheMemoryGoesBehindWhatDoesNot() {
        const ModelTask german = ModelTask::hearing(u"de-DE"_s);
        const auto first = [&](qint64 needed) {
            auto model = *m_store->description(u"nemotron-3.5-320ms"_s);
            model.memory = needed;
            m_store->offer(model);
            return routes(roomy).choices(german).first();
        };
        QCOMPARE(first(roomy.memory / 2), u"nemotron-3.5-320ms"_s);
        QVERIFY(first(roomy.memory / 2 + 1) != u"nemotron-3.5-320ms"_s);
        QCOMPARE(routes(roomy).choices(german).last(), u"nemotron-3.5-320ms"_s);
    }

    void everyPairHasAWayButThoseThatNobodyPublishes() {
        const QStringList languages{u"ar"_s, u"de"_s, u"en"_s, u"es"_s, u"fr"_s, u"id"_s,
                                    u"it"_s, u"ja"_s, u"ko"_s, u"nl"_s, u"pl"_s, u"pt"_s,
                                    u"ru"_s, u"th"_s, u"tr"_s, u"uk"_s, u"vi"_s, u"zh"_s};
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
        const EngineRoutes deaf(*m_store, {u"neural"_s}, nothing, roomy, path());
        QVERIFY(!deaf.route(ModelTask::hearing(u"de-DE"_s)));
        QVERIFY(deaf.route(ModelTask::translating(u"en"_s, u"ru"_s)));
    }

    void aModelHearsItsLanguageInEveryRegion() {
        for (const QString &locale : {u"de-DE"_s, u"de-AT"_s, u"de"_s})
            QVERIFY(routes(roomy).choices(ModelTask::hearing(locale)).contains(u"kroko-de"_s));
    }

    void whatIsChosenForALanguageHoldsInEveryRegion() {
        routes(roomy).choose(ModelTask::hearing(u"en-US"_s), u"kroko-en"_s);
        const EngineRoutes later = routes(roomy);
        for (const QString &locale : {u"en-US"_s, u"en-GB"_s, u"en"_s}) {
            QCOMPARE(later.chosen(ModelTask::hearing(locale)), u"kroko-en"_s);
            QCOMPARE(later.route(ModelTask::hearing(locale)), (ModelRoute{{u"kroko-en"_s}, false, false}));
        }
        QCOMPARE(later.chosen(ModelTask::hearing(u"de-DE"_s)), QString());
    }

    void whatIsChosenForARegionWithAModelOfItsOwnHoldsThereAlone() {
        auto austrian = *m_store->description(u"kroko-de"_s);
        austrian.id = u"austrian"_s;
        austrian.languages = {u"de-AT"_s};
        m_store->offer(austrian);
        const ModelTask german = ModelTask::hearing(u"de-DE"_s);
        const ModelTask inAustria = ModelTask::hearing(u"de-AT"_s);
        EngineRoutes all = routes(roomy);
        all.choose(german, u"nemotron-3.5-320ms"_s);
        QCOMPARE(all.chosen(inAustria), QString());
        for (const QString &id : {u"kroko-de"_s, u"austrian"_s}) {
            all.choose(inAustria, id);
            QCOMPARE(routes(roomy).chosen(inAustria), id);
            QCOMPARE(routes(roomy).chosen(german), u"nemotron-3.5-320ms"_s);
        }
        all.choose(german, {});
        QCOMPARE(all.chosen(inAustria), u"austrian"_s);
    }

    void aChoiceIsTakenBackForEveryRegion() {
        EngineRoutes all = routes(roomy);
        all.choose(ModelTask::hearing(u"en-US"_s), u"kroko-en"_s);
        all.choose(ModelTask::hearing(u"en-GB"_s), {});
        QCOMPARE(all.chosen(ModelTask::hearing(u"en-US"_s)), QString());
    }

    void whatIsChosenLiesUnderTheDataFolder() {
        const test::SetVariable data("XDG_DATA_HOME", {m_folder->path()});
        QCOMPARE(EngineRoutes::standardFile(), m_folder->filePath(u"Quillora/chosen-models.json"_s));
    }

    void pausesAreToldWhateverTheLanguage() {
        const ModelTask task = ModelTask::tellingPauses();
        EngineRoutes all = routes(roomy);
        QCOMPARE(all.choices(task), QStringList{u"silero-vad"_s});
        QCOMPARE(all.route(task), (ModelRoute{{u"silero-vad"_s}, false, false}));
        m_store->place(u"silero-vad"_s, u"1"_s);
        QCOMPARE(all.route(task), (ModelRoute{{u"silero-vad"_s}, true, false}));
        all.choose(task, u"silero-vad"_s);
        QCOMPARE(routes(roomy).chosen(task), u"silero-vad"_s);
    }

private:
    static bool nothing(const ModelTask & /*task*/) { return false; }
    QString path() const { return m_folder->filePath(u"chosen.json"_s); }
    EngineRoutes routes(const Computer &computer) const {
        return {*m_store, {u"neural"_s, u"sherpa"_s}, nothing, computer, path()};
    }

    static constexpr Computer roomy{qint64(16) << 30, 8};

    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    std::optional<QTemporaryDir> m_folder;
    std::optional<test::FakeModelStore> m_store;
};

QTEST_GUILESS_MAIN(EngineRoutesTest)
#include "EngineRoutesTest.moc"
