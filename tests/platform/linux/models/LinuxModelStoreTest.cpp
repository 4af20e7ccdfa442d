#include "platform/linux/models/LinuxModelStore.h"

#include "fakes/FakeMainQueue.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/BackgroundPriority.h"
#include "support/Files.h"
#include "support/ModelServer.h"
#include "support/TestModels.h"
#include "support/ThrowAwayAuthority.h"
#include "support/WithoutSuperuser.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sched.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace quillora;
using namespace platform;
using namespace std::chrono_literals;
using test::Delivery;
using test::ModelServer;
using Presence = ModelState::Presence;

/// What the contract does not say: where models lie, what others do to them meanwhile, and the next start.
class LinuxModelStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_authority.trustHere(); }
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        m_server = std::make_unique<ModelServer>(m_identity);
        m_queue = std::make_unique<LinuxMainQueue>();
        m_untilAllIsChecked = 1h;
    }
    void cleanup() {
        m_store.reset();
        m_queue.reset();
        m_server.reset();
        m_home.reset();
    }

    void aHalfDownloadGoesOnAtTheNextStartOnlyIfAsked() {
        start();
        downloadHalf();
        end();
        m_server->delivery = Delivery::everything;
        m_untilAllIsChecked = 0ms;
        start();
        QVERIFY(state().isPaused);
        QVERIFY(!state().progress);
        waitForTurns();
        QCOMPARE(m_server->requestCount(u"/m"_qs), 1);
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return state().presence == Presence::installed; }));
        QVERIFY(!state().isPaused);
        QVERIFY(!test::RawHttpServer::headerLines(m_server->http().requests().last(), "Range").isEmpty());
    }

    void theEndOfTheProgramWaitsForNoServer() {
        m_server->delivery = Delivery::nothing;
        start();
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return !m_server->http().requests().isEmpty(); }));
        QElapsedTimer clock;
        clock.start();
        end();
        // The server never answers, and would be waited for half a minute.
        QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
    }

    void progressIsToldTenTimesASecondAtMost() {
        test::FakeMainQueue queue;
        const auto storeFirst = qScopeGuard([&] { m_store.reset(); });
        startOn(queue);
        int toldCount = 0;
        m_store->addObserver([&](const QString &) { ++toldCount; });
        m_server->delivery = Delivery::part;
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] {
            queue.run();
            return state().progress->receivedBytes > 0;
        }));
        // Two for the begin, one for progress: time stands still.
        QCOMPARE(toldCount, 3);
        queue.advance(99ms);
        QCOMPARE(toldCount, 3);
        queue.advance(1ms);
        QCOMPARE(toldCount, 4);
    }

    void progressHasSpeedAndTime() {
        start();
        downloadHalf();
        QVERIFY(waitUntil([&] { return state().progress->totalBytes == 1000; }));
        QCOMPARE(state().progress->receivedBytes, 500);
        QCOMPARE(state().progress->percent(), 50);
        QVERIFY(waitUntil([&] { return state().progress->bytesPerSecond == 0; })); // after seconds of nothing
        QVERIFY(!state().progress->timeLeft);
    }

    void whatAnotherProcessInstalledIsNoticed() {
        start();
        QCOMPARE(state().presence, Presence::absent);
        place(u"own"_qs, u"2"_qs);
        QCOMPARE(state().presence, Presence::installed);
        QVERIFY(m_store->use(u"m"_qs));
        QVERIFY(own().remove(own().installed(u"m"_qs).first()));
        QCOMPARE(state().presence, Presence::absent);
    }

    void whatAnotherProcessInstalledMakesUpForAFailure() {
        m_server->delivery = Delivery::refusal;
        start();
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return !state().problem.isEmpty(); }));
        place(u"own"_qs, u"2"_qs);
        QCOMPARE(state().problem, QString());
    }

    void anotherSizeIsNoticedWhenItIsUsed() {
        place(u"own"_qs, u"2"_qs);
        start();
        QCOMPARE(state().presence, Presence::installed);
        int toldCount = 0;
        m_store->addObserver([&](const QString &) { ++toldCount; });
        test::writeFile(own().installed(u"m"_qs).first().filesFolder() + u"/model.bin"_qs, "longer weights");
        QVERIFY(!m_store->use(u"m"_qs));
        QCOMPARE(state().presence, Presence::damaged);
        QCOMPARE(state().problem, u"Files of it are missing, or not as they were installed."_qs);
        QVERIFY(waitUntil([&] { return toldCount > 0; }));
    }

    void anOlderVersionServesWhereTheNewOneIsDamaged() {
        place(u"shared"_qs, u"1"_qs);
        place(u"own"_qs, u"2"_qs);
        QVERIFY(QFile::remove(own().installed(u"m"_qs).first().filesFolder() + u"/model.bin"_qs));
        start();
        QCOMPARE(state().version, u"1"_qs);
        QCOMPARE(m_store->use(u"m"_qs)->version(), u"1"_qs);
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return state().version == u"2"; }));
    }

    void whatWasCopiedByHandIsCheckedOnceItIsUsed() {
        place(u"own"_qs, u"2"_qs);
        const QString path = own().installed(u"m"_qs).first().filesFolder() + u"/model.bin"_qs;
        test::writeFile(path, "WEIGHTS");
        setTime(path, 1000);
        start();
        QVERIFY(m_store->use(u"m"_qs));
        QVERIFY(waitUntil([&] { return state().presence == Presence::damaged; }));
        QCOMPARE(state().problem, u"\"model.bin\" is not as it was installed."_qs);
    }

    void everythingIsCheckedOnceAStart() {
        place(u"own"_qs, u"2"_qs);
        test::changeSecretly(own().installed(u"m"_qs).first().filesFolder() + u"/model.bin"_qs, "WEIGHTS");
        m_untilAllIsChecked = 0ms;
        start();
        QVERIFY(waitUntil([&] { return state().presence == Presence::damaged; }));
        QVERIFY(!m_store->use(u"m"_qs));
    }

    void anOldVersionGoesOnceNobodyUsesIt() {
        place(u"own"_qs, u"1"_qs);
        start();
        auto old = m_store->use(u"m"_qs);
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return state().version == u"2"; }));
        waitForTurns();
        QCOMPARE(versions(), (QStringList{u"1"_qs, u"2"_qs}));
        QVERIFY(QFile::exists(old->folder() + u"/model.bin"_qs));
        old.reset();
        QVERIFY(waitUntil([&] { return versions() == QStringList(u"2"_qs); }));
    }

    void anOldVersionThatAnEndedProgramLeftGoesAtTheNextStart() {
        place(u"own"_qs, u"1"_qs);
        place(u"own"_qs, u"2"_qs);
        m_untilAllIsChecked = 0ms;
        start();
        QVERIFY(waitUntil([&] { return versions() == QStringList(u"2"_qs); }));
    }

    void whatAnotherProcessUsesGoesOnceItLetsGo() {
        place(u"own"_qs, u"2"_qs);
        start();
        auto hold = FolderHold::of(own().installed(u"m"_qs).first().folder, FolderHold::Kind::shared);
        m_store->remove(u"m"_qs);
        QVERIFY(state().isLeaving);
        waitForTurns();
        QCOMPARE(versions(), QStringList(u"2"_qs));
        hold.reset();
        QVERIFY(waitUntil([&] { return versions().isEmpty(); }));
        QVERIFY(waitUntil([&] { return state() == ModelState(); }));
    }

    void theFolderOfAnAdministratorIsOnlyRead() {
        place(u"shared"_qs, u"1"_qs);
        const QString shared = m_home->filePath(u"shared"_qs);
        const auto readOnly = QFileDevice::ReadOwner | QFileDevice::ExeOwner;
        QVERIFY(QFile::setPermissions(shared + u"/m/1"_qs, readOnly));
        QVERIFY(QFile::setPermissions(shared + u"/m"_qs, readOnly));
        QVERIFY(QFile::setPermissions(shared, readOnly));
        {
            const test::WithoutSuperuser ordinary; // the threads inherit it
            start();
            QCOMPARE(m_store->use(u"m"_qs)->version(), u"1"_qs);
            m_store->install(u"m"_qs);
            QVERIFY(waitUntil([&] { return state().version == u"2" && state().isOwn; }));
            m_store->remove(u"m"_qs);
            QVERIFY(waitUntil([&] { return state().version == u"1" && !state().isLeaving; }));
            QCOMPARE(state().problem, QString());
            end();
        }
        for (const QString &folder : {shared, shared + u"/m"_qs, shared + u"/m/1"_qs})
            QFile::setPermissions(folder, readOnly | QFileDevice::WriteOwner);
    }

    void aFolderThatCannotBeWrittenToIsSaidSo() {
        QVERIFY(QDir().mkpath(m_home->filePath(u"own"_qs)));
        QVERIFY(QFile::setPermissions(m_home->filePath(u"own"_qs),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const test::WithoutSuperuser ordinary;
        start();
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return !state().problem.isEmpty(); }));
        QCOMPARE(state().problem,
                 u"The folder \"%1\" cannot be written to."_qs.arg(m_home->filePath(u"own"_qs)));
        end();
    }

    void aModelSaysWhichServersItComesFrom() {
        const auto model = [](const QString &id, const QStringList &addresses) {
            QJsonArray files;
            for (const QString &address : addresses)
                files += QJsonObject{{u"name"_qs, QUrl(address).fileName()}, {u"address"_qs, address}};
            return test::describedModel(id, files);
        };
        QJsonObject listed = model(u"listed"_qs, {});
        listed[u"index"_qs] = QJsonObject{{u"form"_qs, u"checksums"_qs},
                                          {u"address"_qs, u"https://lists.example/sums"_qs},
                                          {u"files"_qs, u"https://files.example/"_qs},
                                          {u"name"_qs, u"x"_qs}};
        const QByteArray catalog = test::catalogOf(
            {model(u"one"_qs, {u"https://one.example/a"_qs, u"https://one.example/b"_qs}),
             model(u"mirrored"_qs, {u"https://one.example/m/a"_qs, u"https://two.example/b"_qs}), listed},
            {QJsonObject{{u"of"_qs, u"https://one.example/m/"_qs},
                         {u"address"_qs, u"https://near.example/"_qs}}});
        m_store.emplace(
            *m_queue,
            LinuxModelStore::Ground{.folders = own(), .catalog = {{{u"catalog"_qs, catalog}}, {u"any"_qs}}});
        QCOMPARE(m_store->description(u"one"_qs)->hosts, QStringList{u"one.example"_qs});
        QCOMPARE(m_store->description(u"mirrored"_qs)->hosts,
                 (QStringList{u"near.example"_qs, u"two.example"_qs}));
        QCOMPARE(m_store->description(u"listed"_qs)->hosts,
                 (QStringList{u"lists.example"_qs, u"files.example"_qs}));
    }

    void whatTheCatalogSaysInVainIsLogged() {
        const QByteArray catalog = test::catalogOf({QJsonObject{{u"id"_qs, u"odd"_qs}}});
        const ModelCatalog read({{u"catalog"_qs, catalog}}, {u"any"_qs});
        QCOMPARE(read.omissions().size(), 1);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(read.omissions().first()));
        m_store.emplace(*m_queue, LinuxModelStore::Ground{.folders = own(), .catalog = read});
        QCOMPARE(m_store->omissions(), read.omissions());
    }

    void checksGiveWayToEverythingElse() {
        int scheduler = -1;
        long disk = -1;
        std::thread([&] {
            yieldToEverybody();
            scheduler = ::sched_getscheduler(0);
            disk = ::syscall(SYS_ioprio_get, 1, 0);
        }).join();
        QCOMPARE(scheduler, SCHED_IDLE);
        QCOMPARE(disk >> 13, 3); // the idle class
    }

private:
    ModelState state() const { return m_store->state(u"m"_qs); }
    ModelFolders own() const { return {m_home->filePath(u"own"_qs), {}}; }

    void start() { startOn(*m_queue); }
    void startOn(MainQueue &queue) {
        const auto file = m_server->publish(u"model.bin"_qs, u"/m"_qs, QByteArray(1000, 'm'));
        const QByteArray catalog = test::catalogOf({test::describedModel(u"m"_qs, {file})});
        m_store.emplace(queue, LinuxModelStore::Ground{
                                   .folders = {m_home->filePath(u"own"_qs), {m_home->filePath(u"shared"_qs)}},
                                   .catalog = {{{u"catalog"_qs, catalog}}, {u"any"_qs}},
                                   .patience = {.firstPause = 1ms, .mostFailures = 1},
                                   .untilAllIsChecked = m_untilAllIsChecked,
                                   .untilLeavingIsTriedAgain = 20ms});
    }
    void end() { m_store.reset(); }

    bool waitUntil(const std::function<bool()> &condition) { return m_server->waitUntil(condition); }
    void waitForTurns() {
        QVERIFY(waitUntil([turns = 0]() mutable { return ++turns == 10; }));
    }
    void downloadHalf() {
        m_server->delivery = Delivery::part;
        m_store->install(u"m"_qs);
        QVERIFY(waitUntil([&] { return state().progress && state().progress->receivedBytes == 500; }));
    }

    void place(const QString &root, const QString &version) const {
        test::placeModel(m_home->filePath(root), u"m"_qs, version);
    }
    QStringList versions() const {
        return QDir(m_home->filePath(u"own/m"_qs)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }
    static void setTime(const QString &path, qint64 time) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(time), QFileDevice::FileModificationTime));
    }

    const test::ThrowAwayAuthority m_authority;
    const QSslConfiguration m_identity = m_authority.issue(u"127.0.0.1"_qs);
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<ModelServer> m_server;
    std::unique_ptr<LinuxMainQueue> m_queue;
    std::optional<LinuxModelStore> m_store;
    std::chrono::milliseconds m_untilAllIsChecked{};
};

QTEST_GUILESS_MAIN(LinuxModelStoreTest)
#include "LinuxModelStoreTest.moc"
