#include "contract/ModelRoutesContract.h"
#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelStore.h"
#include "platform/linux/routing/EngineRoutes.h"
#include "support/ModelDescriptions.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::EngineRoutes;
using platform::ModelTask;

namespace {

class FakeHarness : public test::ModelRoutesHarness {
public:
    FakeHarness() {
        using Task = platform::ModelTask;
        for (const auto &id : {u"small"_s, u"large"_s, u"de-en"_s, u"en-fr"_s, u"es"_s, u"hears-de"_s})
            offer(id);
        m_routes.offer(Task::translating(u"en"_s, u"ru"_s), {u"small"_s, u"large"_s});
        m_routes.offer(Task::translating(u"de"_s, u"en"_s), {u"de-en"_s});
        m_routes.offer(Task::translating(u"en"_s, u"fr"_s), {u"en-fr"_s});
        m_routes.offer(Task::translating(u"en"_s, u"es"_s), {u"es"_s});
        m_routes.offer(Task::hearing(u"de-DE"_s), {u"hears-de"_s});
        m_routes.comesWithSystem(Task::translating(u"en"_s, u"es"_s));
    }

    platform::ModelRoutes &routes() override { return m_routes; }
    void install(const QString &id) override { m_store.place(id, u"1"_s); }
    void damage(const QString &id) override { m_store.damage(id, u"It is broken."_s); }
    void reject(const QString &id) override { m_store.reject(id, u"1"_s, u"It does not work."_s); }

private:
    void offer(const QString &id) {
        platform::ModelDescription model;
        model.id = id;
        model.version = u"1"_s;
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
        translates(u"large"_s, u"en"_s, u"ru"_s, 87.4, 33000000);
        translates(u"small"_s, u"en"_s, u"ru"_s, 87.2, 24000000);
        translates(u"de-en"_s, u"de"_s, u"en"_s, 88.3, 25000000);
        translates(u"en-fr"_s, u"en"_s, u"fr"_s, 87.0, 26000000);
        translates(u"es"_s, u"en"_s, u"es"_s, 85.3, 25000000);
        auto german = test::speechModel(u"hears-de"_s, u"de"_s);
        german.engine = u"ear"_s;
        m_store.offer(german);
    }

    platform::ModelRoutes &routes() override { return m_routes; }
    void install(const QString &id) override { m_store.place(id, u"1"_s); }
    void damage(const QString &id) override { m_store.damage(id, u"It is broken."_s); }
    void reject(const QString &id) override { m_store.reject(id, u"1"_s, u"It does not work."_s); }

private:
    void translates(const QString &id, const QString &source, const QString &target, double score,
                    qint64 size) {
        auto model = test::translationModel(id, source, target, size);
        model.engine = u"tongue"_s;
        model.score = platform::ModelScore{score, u"points"_s, u"the publisher"_s};
        m_store.offer(model);
    }

    QTemporaryDir m_folder;
    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    test::FakeModelStore m_store{m_log, m_queue};
    EngineRoutes m_routes{
        m_store,
        {u"ear"_s, u"tongue"_s},
        [](const ModelTask &task) { return task == ModelTask::translating(u"en"_s, u"es"_s); },
        platform::Computer{qint64(16) << 30, 8},
        m_folder.filePath(u"chosen.json"_s)};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::ModelRoutesContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                        {"EngineRoutes", [] { return std::make_unique<StoreHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
