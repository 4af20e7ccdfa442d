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
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
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
        QCOMPARE(m_server->requestCount(u"/m"_s), 1);
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return state().presence == Presence::installed; }));
        QVERIFY(!state().isPaused);
        QVERIFY(!test::RawHttpServer::headerLines(m_server->http().requests().last(), "Range").isEmpty());
    }

    void theEndOfTheProgramWaitsForNoServer() {
        m_server->delivery = Delivery::nothing;
        start();
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return !m_server->http().requests().isEmpty(); }));
        QElapsedTimer clock;
        clock.start();
        end();
        // The server never answers, and would be waited for half a minute.
        QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
    }

    void whatInstallsGivesWayToTheMainThread() {
        start();
        downloadHalf();
        const int background = std::min(19, ::getpriority(PRIO_PROCESS, 0) + 10);
        QCOMPARE(nicenessOf("model installer"), background);
        QCOMPARE(nicenessOf("QNetworkAccessM"), background); // which the installer has started
    }

    void progressIsToldTenTimesASecondAtMost() {
        test::FakeMainQueue queue;
        const auto storeFirst = qScopeGuard([&] { m_store.reset(); });
        startOn(queue);
        int toldCount = 0;
        m_store->addObserver([&](const QString &) { ++toldCount; });
        m_server->delivery = Delivery::part;
        m_store->install(u"m"_s);
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

    void whatIsRejectedBeforeItsEndIsToldStaysRejected() {
        test::FakeMainQueue queue;
        const auto storeFirst = qScopeGuard([&] { m_store.reset(); });
        startOn(queue);
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return !own().installed(u"m"_s).isEmpty(); })); // which nothing tells yet
        QVERIFY(m_store->use(u"m"_s));
        m_store->reject(u"m"_s, u"2"_s, u"It does not work."_s);
        m_store->remark(u"m"_s, u"2"_s, u"It is slow."_s);
        QVERIFY(waitUntil([&] {
            queue.run();
            return !state().progress;
        }));
        QCOMPARE(state().presence, Presence::unfit);
        QCOMPARE(state().problem, u"It does not work."_s);
        QCOMPARE(state().remark, u"It is slow."_s);
    }

    void aRemarkOutlastsTheProgram() {
        start();
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([this] { return state().isInstalled(); }));
        m_store->remark(u"m"_s, u"2"_s, u"It is slow."_s);
        end();
        start();
        QCOMPARE(state().remark, u"It is slow."_s);
        m_store->remark(u"m"_s, u"2"_s, {});
        end();
        start();
        QCOMPARE(state().remark, QString());
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
        place(u"own"_s, u"2"_s);
        QCOMPARE(state().presence, Presence::installed);
        QVERIFY(m_store->use(u"m"_s));
        QVERIFY(own().remove(own().installed(u"m"_s).first()));
        QCOMPARE(state().presence, Presence::absent);
    }

    void whatAnotherProcessInstalledMakesUpForAFailure() {
        m_server->delivery = Delivery::refusal;
        start();
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return !state().problem.isEmpty(); }));
        place(u"own"_s, u"2"_s);
        QCOMPARE(state().problem, QString());
    }

    void anotherSizeIsNoticedWhenItIsUsed() {
        place(u"own"_s, u"2"_s);
        start();
        QCOMPARE(state().presence, Presence::installed);
        int toldCount = 0;
        m_store->addObserver([&](const QString &) { ++toldCount; });
        test::writeFile(own().installed(u"m"_s).first().filesFolder() + u"/model.bin"_s, "longer weights");
        QVERIFY(!m_store->use(u"m"_s));
        QCOMPARE(state().presence, Presence::damaged);
        QCOMPARE(state().problem, u"Files of it are missing, or not as they were installed."_s);
        QVERIFY(waitUntil([&] { return toldCount > 0; }));
    }

    void anOlderVersionServesWhereTheNewOneIsDamaged() {
        place(u"shared"_s, u"1"_s);
        place(u"own"_s, u"2"_s);
        QVERIFY(QFile::remove(own().installed(u"m"_s).first().filesFolder() + u"/model.bin"_s));
        start();
        QCOMPARE(state().version, u"1"_s);
        QCOMPARE(m_store->use(u"m"_s)->version(), u"1"_s);
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return state().version == u"2"; }));
    }

    void whatWasCopiedByHandIsCheckedOnceItIsUsed() {
        place(u"own"_s, u"2"_s);
        const QString path = own().installed(u"m"_s).first().filesFolder() + u"/model.bin"_s;
        test::writeFile(path, "WEIGHTS");
        setTime(path, 1000);
        start();
        QVERIFY(m_store->use(u"m"_s));
        QVERIFY(waitUntil([&] { return state().presence == Presence::damaged; }));
        QCOMPARE(state().problem, u"\"model.bin\" is not as it was installed."_s);
    }

    void whatWasCheckedIsCheckedAgainOnceItsTimesHaveChanged() {
        place(u"own"_s, u"2"_s);
        const QString path = own().installed(u"m"_s).first().filesFolder() + u"/model.bin"_s;
        setTime(path, 1000);
        start();
        int toldCount = 0;
        m_store->addObserver([&](const QString &) { ++toldCount; });
        QVERIFY(m_store->use(u"m"_s));
        QVERIFY(waitUntil([&] { return toldCount == 1; }));
        QVERIFY(m_store->use(u"m"_s)); // nothing has changed
        waitForTurns();
        QCOMPARE(toldCount, 1);
        test::writeFile(path, "WEIGHTS");
        setTime(path, 2000);
        QVERIFY(m_store->use(u"m"_s));
        QVERIFY(waitUntil([&] { return state().presence == Presence::damaged; }));
    }

    void everythingIsCheckedOnceAStart() {
        place(u"own"_s, u"2"_s);
        test::changeSecretly(own().installed(u"m"_s).first().filesFolder() + u"/model.bin"_s, "WEIGHTS");
        m_untilAllIsChecked = 0ms;
        start();
        QVERIFY(waitUntil([&] { return state().presence == Presence::damaged; }));
        QVERIFY(!m_store->use(u"m"_s));
    }

    void anOldVersionGoesOnceNobodyUsesIt() {
        place(u"own"_s, u"1"_s);
        start();
        auto old = m_store->use(u"m"_s);
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return state().version == u"2"; }));
        waitForTurns();
        QCOMPARE(versions(), (QStringList{u"1"_s, u"2"_s}));
        QVERIFY(QFile::exists(old->folder() + u"/model.bin"_s));
        old.reset();
        QVERIFY(waitUntil([&] { return versions() == QStringList(u"2"_s); }));
    }

    void anOldVersionThatAnEndedProgramLeftGoesAtTheNextStart() {
        place(u"own"_s, u"1"_s);
        place(u"own"_s, u"2"_s);
        m_untilAllIsChecked = 0ms;
        start();
        QVERIFY(waitUntil([&] { return versions() == QStringList(u"2"_s); }));
    }

    void whatAnotherProcessUsesGoesOnceItLetsGo() {
        place(u"own"_s, u"2"_s);
        start();
        auto hold = FolderHold::of(own().installed(u"m"_s).first().folder, FolderHold::Kind::shared);
        m_store->remove(u"m"_s);
        QVERIFY(state().isLeaving);
        waitForTurns();
        QCOMPARE(versions(), QStringList(u"2"_s));
        hold.reset();
        QVERIFY(waitUntil([&] { return versions().isEmpty(); }));
        QVERIFY(waitUntil([&] { return state() == ModelState(); }));
    }

    void theFolderOfAnAdministratorIsOnlyRead() {
        place(u"shared"_s, u"1"_s);
        const QString shared = m_home->filePath(u"shared"_s);
        const auto readOnly = QFileDevice::ReadOwner | QFileDevice::ExeOwner;
        QVERIFY(QFile::setPermissions(shared + u"/m/1"_s, readOnly));
        QVERIFY(QFile::setPermissions(shared + u"/m"_s, readOnly));
        QVERIFY(QFile::setPermissions(shared, readOnly));
        {
            const test::WithoutSuperuser ordinary; // the threads inherit it
            start();
            QCOMPARE(m_store->use(u"m"_s)->version(), u"1"_s);
            m_store->install(u"m"_s);
            QVERIFY(waitUntil([&] { return state().version == u"2" && state().isOwn; }));
            m_store->remove(u"m"_s);
            QVERIFY(waitUntil([&] { return state().version == u"1" && !state().isLeaving; }));
            QCOMPARE(state().problem, QString());
            end();
        }
        for (const QString &folder : {shared, shared + u"/m"_s, shared + u"/m/1"_s})
            QFile::setPermissions(folder, readOnly | QFileDevice::WriteOwner);
    }

    void aFolderThatCannotBeWrittenToIsSaidSo() {
        QVERIFY(QDir().mkpath(m_home->filePath(u"own"_s)));
        QVERIFY(QFile::setPermissions(m_home->filePath(u"own"_s),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const test::WithoutSuperuser ordinary;
        start();
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return !state().problem.isEmpty(); }));
        QCOMPARE(state().problem,
                 u"The folder \"%1\" cannot be written to."_s.arg(m_home->filePath(u"own"_s)));
        end();
    }

    void aModelSaysWhichServersItComesFrom() {
        const auto model = [](const QString &id, const QStringList &addresses) {
            QJsonArray files;
            for (const QString &address : addresses)
                files += QJsonObject{{u"name"_s, QUrl(address).fileName()}, {u"address"_s, address}};
            return test::describedModel(id, files);
        };
        QJsonObject listed = model(u"listed"_s, {});
        listed[u"index"_s] = QJsonObject{{u"form"_s, u"checksums"_s},
                                         {u"address"_s, u"https://lists.example/sums"_s},
                                         {u"files"_s, u"https://files.example/"_s},
                                         {u"name"_s, u"x"_s}};
        const QByteArray catalog = test::catalogOf(
            {model(u"one"_s, {u"https://one.example/a"_s, u"https://one.example/b"_s}),
             model(u"mirrored"_s, {u"https://one.example/m/a"_s, u"https://two.example/b"_s}), listed},
            {QJsonObject{{u"of"_s, u"https://one.example/m/"_s},
                         {u"address"_s, u"https://near.example/"_s}}});
        m_store.emplace(*m_queue, LinuxModelStore::Ground{
                                      .folders = own(), .catalog = {{{u"catalog"_s, catalog}}, {u"any"_s}}});
        QCOMPARE(m_store->description(u"one"_s)->hosts, QStringList{u"one.example"_s});
        QCOMPARE(m_store->description(u"mirrored"_s)->hosts,
                 (QStringList{u"near.example"_s, u"two.example"_s}));
        QCOMPARE(m_store->description(u"listed"_s)->hosts,
                 (QStringList{u"lists.example"_s, u"files.example"_s}));
    }

    void whatTheCatalogSaysInVainIsLogged() {
        const QByteArray catalog = test::catalogOf({QJsonObject{{u"id"_s, u"odd"_s}}});
        const ModelCatalog read({{u"catalog"_s, catalog}}, {u"any"_s});
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
    /// Of the thread of that name; throws if there is none.
    static int nicenessOf(const QByteArray &thread) {
        const QDir threads(u"/proc/self/task"_s);
        for (const QString &id : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (test::readFile(threads.filePath(id + u"/comm"_s)).trimmed() == thread)
                return ::getpriority(PRIO_PROCESS, id.toUInt());
        }
        throw std::runtime_error("there is no such thread");
    }

    ModelState state() const { return m_store->state(u"m"_s); }
    ModelFolders own() const { return {m_home->filePath(u"own"_s), {}}; }

    void start() { startOn(*m_queue); }
    void startOn(MainQueue &queue) {
        const auto file = m_server->publish(u"model.bin"_s, u"/m"_s, QByteArray(1000, 'm'));
        const QByteArray catalog = test::catalogOf({test::describedModel(u"m"_s, {file})});
        m_store.emplace(queue, LinuxModelStore::Ground{
                                   .folders = {m_home->filePath(u"own"_s), {m_home->filePath(u"shared"_s)}},
                                   .catalog = {{{u"catalog"_s, catalog}}, {u"any"_s}},
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
        m_store->install(u"m"_s);
        QVERIFY(waitUntil([&] { return state().progress && state().progress->receivedBytes == 500; }));
    }

    void place(const QString &root, const QString &version) const {
        test::placeModel(m_home->filePath(root), u"m"_s, version);
    }
    QStringList versions() const {
        return QDir(m_home->filePath(u"own/m"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }
    static void setTime(const QString &path, qint64 time) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(time), QFileDevice::FileModificationTime));
    }

    const test::ThrowAwayAuthority m_authority;
    const QSslConfiguration m_identity = m_authority.issue(u"127.0.0.1"_s);
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<ModelServer> m_server;
    std::unique_ptr<LinuxMainQueue> m_queue;
    std::optional<LinuxModelStore> m_store;
    std::chrono::milliseconds m_untilAllIsChecked{};
};

QTEST_GUILESS_MAIN(LinuxModelStoreTest)
#include "LinuxModelStoreTest.moc"
