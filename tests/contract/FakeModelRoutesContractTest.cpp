#include "contract/ModelRoutesContract.h"
#include "fakes/FakeMainQueue.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelStore.h"

using namespace quillora;

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

} // namespace

class FakeModelRoutesContractTest : public test::ModelRoutesContract {
    Q_OBJECT

    std::unique_ptr<test::ModelRoutesHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeModelRoutesContractTest)
#include "FakeModelRoutesContractTest.moc"
