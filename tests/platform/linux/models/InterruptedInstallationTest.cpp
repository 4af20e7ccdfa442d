#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/ModelServer.h"
#include "support/PackedFiles.h"
#include "support/TestModels.h"
#include "support/ThrowAwayAuthority.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace platform;
using namespace std::chrono_literals;
using test::ChildProcess;
using test::Delivery;
using test::ModelServer;

namespace {

constexpr auto wanted = [] { return false; };

} // namespace

/// Other processes that install a model, and end in the middle of it.
class InterruptedInstallationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_heartbeat.start(20ms); }
    void init() {
        // In memory where that is possible: who is killed leaves there what he leaves on a disk, only sooner.
        const QString memory = u"/dev/shm"_s;
        m_home = std::make_unique<QTemporaryDir>(
            (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + u"/quillora-XXXXXX"_s);
        m_server = std::make_unique<ModelServer>(m_identity);
        m_server->files[u"/m.tar.gz"_s] = test::packed({{"a", QByteArray(200000, 'a')},
                                                        {"deep/b", QByteArray(100000, 'b')},
                                                        {"deep/c", "c"},
                                                        {"deep/deeper/d", "d"},
                                                        {"e", {}}},
                                                       test::PackedFormat::tarGzip);
        m_server->files[u"/f"_s] = "f";
        m_server->files[u"/g"_s] = test::gzipped(QByteArray(300000, 'g'));
        test::writeFile(m_home->filePath(u"ca.pem"_s), m_authority.certificate().toPem());
        test::writeFile(catalogPath(), catalog());
    }
    void cleanup() {
        m_server.reset();
        m_home.reset();
    }

    void whoeverIsKilledLeavesTheOldModelOrTheNewOne() {
        constexpr int moments = 100;
        placeOldVersion();
        QString said;
        QCOMPARE(run({}, said), 0);
        const int most = 2 * said.toInt();
        QVERIFY2(most >= moments, qPrintable(said));
        int killedCount = 0;
        for (int number = 0; number < moments; ++number) {
            const int moment = number * most / moments;
            QVERIFY(QDir(root()).removeRecursively());
            placeOldVersion();
            killedCount += run({u"--die-at"_s, QString::number(moment)}, said) != 0;
            QCOMPARE(faultOnDisk(), QString());
            const QString left = startAgain();
            QVERIFY2(left == u"2",
                     qPrintable(u"killed at moment %1 of %2: %3"_s.arg(moment).arg(most).arg(left)));
        }
        // Fewer changes than the first time: what the network brings comes in portions of any size.
        QVERIFY2(killedCount > 80, qPrintable(QString::number(killedCount)));
    }

    void twoProcessesNeverInstallAModelAtOnce() {
        m_server->delivery = Delivery::nothing;
        ChildProcess first(program(), arguments());
        constexpr int requestCount = 3;
        QVERIFY(waitUntil([&] { return m_server->http().requests().size() == requestCount; }));
        QString said;
        QCOMPARE(run({}, said), 1);
        QCOMPARE(said, u"The model is being installed by another program."_s);
        QCOMPARE(m_server->http().requests().size(), requestCount);
        first.signal(SIGKILL);
        QVERIFY(waitUntil([&] { return !first.isRunning(); }));
        m_server->delivery = Delivery::everything;
        QCOMPARE(run({}, said), 0);
        QCOMPARE(faultOnDisk(), QString());
    }

    void aClockThatJumpsHoldsNothingUp() {
        QString said;
        QCOMPARE(run({u"--clock-jumps"_s}, said), 0);
        QCOMPARE(faultOnDisk(), QString());
    }

private:
    QString root() const { return m_home->filePath(u"models"_s); }
    QString catalogPath() const { return m_home->filePath(u"catalog.json"_s); }
    static QString program() { return QCoreApplication::applicationDirPath() + u"/install_model"_s; }
    QStringList arguments() const { return {root(), catalogPath(), u"m"_s}; }

    QByteArray catalog() const {
        const auto file = [](const QString &name, const QString &packing) {
            return QJsonObject{{u"name"_s, name},
                               {u"address"_s, u"https://publisher.example/"_s + name},
                               {u"packing"_s, packing}};
        };
        const auto model = test::describedModel(
            u"m"_s, {file(u"m.tar.gz"_s, u"archive"_s), file(u"f"_s, u"none"_s), file(u"g"_s, u"gzip"_s)});
        const QJsonObject mirror{{u"of"_s, u"https://publisher.example/"_s},
                                 {u"address"_s, m_server->http().url(u"/"_s).toString()},
                                 {u"authority"_s, u"ca.pem"_s}};
        return test::catalogOf({model}, {mirror});
    }

    void placeOldVersion() const { test::placeModel(root(), u"m"_s, u"1"_s); }

    bool waitUntil(const std::function<bool()> &condition) {
        QElapsedTimer clock;
        clock.start();
        for (;;) {
            m_server->serve();
            if (condition())
                return true;
            if (clock.hasExpired(30000))
                return false;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); // the heartbeat at the latest
        }
    }

    /// Lets another process install the model; its status, and what it said.
    int run(const QStringList &more, QString &said) {
        ChildProcess process(program(), arguments() + more);
        if (!waitUntil([&] { return !process.isRunning(); }))
            return -1;
        said = QString::fromUtf8(process.process().readAllStandardOutput()).trimmed();
        return process.process().exitStatus() == QProcess::NormalExit ? process.process().exitCode() : -1;
    }

    /// What is wrong with what is installed; null if there is something, and all of it is whole.
    QString faultOnDisk() const {
        const auto models = ModelFolders(root(), {}).installed(u"m"_s);
        if (models.isEmpty())
            return u"nothing is installed"_s;
        for (const auto &model : models) {
            if (!model.manifest)
                return u"the manifest of version %1 cannot be read"_s.arg(model.version);
            if (const QString fault = model.manifest->fault(model.filesFolder(), wanted); !fault.isNull())
                return fault;
        }
        return {};
    }

    /// Installs the model here. What is there in the end, which is the new version and nothing else.
    QString startAgain() {
        LinuxMainQueue queue;
        LinuxModelStore store(queue, {.folders = {root(), {}},
                                      .catalog = {{{catalogPath(), catalog()}}, {u"any"_s}},
                                      .patience = {.firstPause = 1ms, .mostFailures = 1},
                                      .untilAllIsChecked = 0ms});
        store.install(u"m"_s);
        const auto left = [&] {
            return QDir(root() + u"/m"_s)
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                .join(u' ');
        };
        waitUntil([&] {
            const auto state = store.state(u"m"_s);
            return !state.problem.isEmpty() || (state.version == u"2" && left() == u"2");
        });
        return left() + store.state(u"m"_s).problem + faultOnDisk();
    }

    QTimer m_heartbeat;
    const test::ThrowAwayAuthority m_authority;
    const QSslConfiguration m_identity = m_authority.issue(u"127.0.0.1"_s);
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<ModelServer> m_server;
};

QTEST_GUILESS_MAIN(InterruptedInstallationTest)
#include "InterruptedInstallationTest.moc"
