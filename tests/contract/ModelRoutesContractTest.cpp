#include "contract/ModelRoutesContract.h"
#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelStore.h"
#include "platform/linux/routing/EngineRoutes.h"
#include "support/ModelDescriptions.h"
#include "support/TestSuites.h"

#include <QTemporaryDir>

using namespace quillora;
using platform::EngineRoutes;
using platform::ModelTask;

namespace {

class FakeHarness : public test::ModelRoutesHarness {
public:
    FakeHarness() {
        using Task = platform::ModelTask;
        for (const auto &id : {u"small"_qs, u"large"_qs, u"de-en"_qs, u"en-fr"_qs, u"es"_qs, u"hears-de"_qs})
            offer(id);
        m_routes.offer(Task::translating(u"en"_qs, u"ru"_qs), {u"small"_qs, u"large"_qs});
        m_routes.offer(Task::translating(u"de"_qs, u"en"_qs), {u"de-en"_qs});
        m_routes.offer(Task::translating(u"en"_qs, u"fr"_qs), {u"en-fr"_qs});
        m_routes.offer(Task::translating(u"en"_qs, u"es"_qs), {u"es"_qs});
        m_routes.offer(Task::hearing(u"de-DE"_qs), {u"hears-de"_qs});
        m_routes.comesWithSystem(Task::translating(u"en"_qs, u"es"_qs));
    }

    platform::ModelRoutes &routes() override { return m_routes; }
    void install(const QString &id) override { m_store.place(id, u"1"_qs); }
    void damage(const QString &id) override { m_store.damage(id, u"It is broken."_qs); }
    void reject(const QString &id) override { m_store.reject(id, u"1"_qs, u"It does not work."_qs); }

private:
    void offer(const QString &id) {
        platform::ModelDescription model;
        model.id = id;
        model.version = u"1"_qs;
        m_store.offer(model);
    }

    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    test::FakeModelStore m_store{m_log, m_queue};
    test::FakeModelRoutes m_routes{m_store};
};

class StoreHarness : public test::ModelRoutesHarness {
public:
    StoreHarness() {
        translates(u"large"_qs, u"en"_qs, u"ru"_qs, 87.4, 33000000);
        translates(u"small"_qs, u"en"_qs, u"ru"_qs, 87.2, 24000000);
        translates(u"de-en"_qs, u"de"_qs, u"en"_qs, 88.3, 25000000);
        translates(u"en-fr"_qs, u"en"_qs, u"fr"_qs, 87.0, 26000000);
        translates(u"es"_qs, u"en"_qs, u"es"_qs, 85.3, 25000000);
        auto german = test::speechModel(u"hears-de"_qs, u"de"_qs);
        german.engine = u"ear"_qs;
        m_store.offer(german);
        start();
    }

    platform::ModelRoutes &routes() override { return *m_routes; }
    void install(const QString &id) override { m_store.place(id, u"1"_qs); }
    void damage(const QString &id) override { m_store.damage(id, u"It is broken."_qs); }
    void reject(const QString &id) override { m_store.reject(id, u"1"_qs, u"It does not work."_qs); }

    /// Anew, with what was kept.
    void start() {
        const auto comesWithSystem = [](const ModelTask &task) {
            return task == ModelTask::translating(u"en"_qs, u"es"_qs);
        };
        m_routes.emplace(m_store, QStringList{u"ear"_qs, u"tongue"_qs}, comesWithSystem,
                         platform::Computer{qint64(16) << 30, 8}, m_folder.filePath(u"chosen.json"_qs));
    }

private:
    void translates(const QString &id, const QString &source, const QString &target, double score,
                    qint64 size) {
        auto model = test::translationModel(id, source, target, size);
        model.engine = u"tongue"_qs;
        model.score = platform::ModelScore{score, u"points"_qs, u"the publisher"_qs};
        m_store.offer(model);
    }

    QTemporaryDir m_folder;
    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    test::FakeModelStore m_store{m_log, m_queue};
    std::optional<EngineRoutes> m_routes;
};

/// What only this one is asked.
class EngineRoutesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aChoiceHoldsOverARestart() {
        StoreHarness harness;
        const auto russian = ModelTask::translating(u"en"_qs, u"ru"_qs);
        harness.routes().choose(russian, u"large"_qs);
        harness.start();
        QCOMPARE(harness.routes().chosen(russian), u"large"_qs);
    }
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::ModelRoutesContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                        {"EngineRoutes", [] { return std::make_unique<StoreHarness>(); }}});
    EngineRoutesTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "ModelRoutesContractTest.moc"
