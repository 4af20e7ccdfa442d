#include "contract/ModelStoreContract.h"
#include "fakes/FakePlatform.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;
using namespace test;

namespace {

class FakeModelStoreHarness : public ModelStoreHarness {
public:
    FakeModelStoreHarness() {
        for (const QString &id : {u"first"_qs, u"second"_qs}) {
            platform::ModelDescription model;
            model.id = id;
            model.version = u"2"_qs;
            m_platform.models.offer(model);
        }
        m_platform.run();
    }

    platform::ModelStore &store() override { return m_platform.modelStore(); }

    bool waitUntil(const std::function<bool()> &condition) override {
        for (int turn = 0; turn < 10; ++turn) {
            m_platform.run();
            if (condition())
                return true;
            work();
        }
        return false;
    }

    void deliver(Delivery delivery) override { m_delivery = delivery; }

    void place(const QString &version, Owner owner) override {
        m_platform.models.place(u"first"_qs, version, {},
                                owner == Owner::user ? FakeModelStore::Owner::user
                                                     : FakeModelStore::Owner::administrator);
    }

    void damageSecretly() override {
        m_platform.models.damageSecretly(u"first"_qs, u"\"model.bin\" is not as it was installed."_qs);
    }

private:
    void work() {
        auto &models = m_platform.models;
        if (models.underWay().isNull())
            return;
        switch (m_delivery) {
        case Delivery::nothing:
            break;
        case Delivery::part:
            models.progress({platform::ModelProgress::Step::downloading, 3, 8, 1, std::chrono::seconds(5)});
            break;
        case Delivery::everything:
            models.arrive();
            break;
        case Delivery::refusal:
            models.fail(u"The server answered with the error 404."_qs);
            break;
        }
    }

    FakePlatform m_platform;
    Delivery m_delivery = Delivery::nothing;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    ModelStoreContract contract([] { return std::make_unique<FakeModelStoreHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
