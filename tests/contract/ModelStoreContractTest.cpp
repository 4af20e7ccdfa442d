#include "contract/ModelStoreContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "support/Files.h"
#include "support/ModelServer.h"
#include "support/TestModels.h"
#include "support/ThrowAwayAuthority.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using test::Delivery;
using test::ModelServer;

namespace {

class FakeHarness : public test::ModelStoreHarness {
public:
    FakeHarness() {
        for (const QString &id : {u"first"_s, u"second"_s}) {
            platform::ModelDescription model;
            model.id = id;
            model.version = u"2"_s;
            model.hosts = {u"127.0.0.1"_s};
            m_platform.models.offer(model);
        }
        m_platform.models.omitted = {u"The model \"third\" is left out."_s};
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
        m_platform.models.place(u"first"_s, version, {},
                                owner == Owner::user ? test::FakeModelStore::Owner::user
                                                     : test::FakeModelStore::Owner::administrator);
    }

    void damageSecretly() override {
        m_platform.models.damageSecretly(u"first"_s, u"\"model.bin\" is not as it was installed."_s);
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
            models.progress({.step = platform::ModelProgress::Step::downloading,
                             .receivedBytes = 3,
                             .totalBytes = 8,
                             .bytesPerSecond = 1,
                             .timeLeft = std::chrono::seconds(5),
                             .obstacle = {}});
            break;
        case Delivery::everything:
            models.arrive();
            break;
        case Delivery::refusal:
            models.fail(u"The server answered with the error 404."_s);
            break;
        }
    }

    test::FakePlatform m_platform;
    Delivery m_delivery = Delivery::nothing;
};

/// A store on a disk, with a publisher that a real HTTPS server is.
class LinuxModelStoreHarness : public test::ModelStoreHarness {
public:
    explicit LinuxModelStoreHarness(const QSslConfiguration &identity) : m_server(identity) {
        m_server.delivery = Delivery::nothing;
        QJsonArray models;
        for (const QString &id : {u"first"_s, u"second"_s}) {
            const QByteArray contents = "weights of " + id.toLatin1();
            models += test::describedModel(id, {m_server.publish(u"model.bin"_s, u'/' + id, contents)});
        }
        models += QJsonObject{{u"id"_s, u"third"_s}};
        m_store.emplace(m_queue, platform::LinuxModelStore::Ground{
                                     .folders = {m_home.filePath(u"own"_s), {m_home.filePath(u"shared"_s)}},
                                     .catalog = {{{u"catalog"_s, test::catalogOf(models)}}, {u"any"_s}},
                                     .patience = {.firstPause = 1ms, .mostFailures = 1},
                                     .untilLeavingIsTriedAgain = 50ms});
    }

    platform::ModelStore &store() override { return *m_store; }

    bool waitUntil(const std::function<bool()> &condition) override { return m_server.waitUntil(condition); }

    void deliver(Delivery delivery) override { m_server.delivery = delivery; }

    void place(const QString &version, Owner owner) override {
        test::placeModel(m_home.filePath(owner == Owner::user ? u"own"_s : u"shared"_s), u"first"_s, version);
    }

    void damageSecretly() override {
        test::changeSecretly(m_store->use(u"first"_s)->folder() + u"/model.bin"_s, "W");
    }

private:
    QTemporaryDir m_home;
    ModelServer m_server;
    platform::LinuxMainQueue m_queue;
    std::optional<platform::LinuxModelStore> m_store;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::ThrowAwayAuthority authority;
    authority.trustHere();
    const auto identity = authority.issue(u"127.0.0.1"_s);
    test::ModelStoreContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"LinuxModelStore", [&] { return std::make_unique<LinuxModelStoreHarness>(identity); }}});
    return QTest::qExec(&contract, argc, argv);
}
