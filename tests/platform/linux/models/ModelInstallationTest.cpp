#include "platform/linux/models/ModelInstallation.h"

#include "platform/linux/LinuxMainQueue.h"
#include "support/Files.h"
#include "support/ModelServer.h"
#include "support/PackedFiles.h"
#include "support/ThrowAwayAuthority.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <sys/mount.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace platform;
using namespace std::chrono_literals;
using test::ModelServer;
using Step = ModelProgress::Step;

namespace {

QByteArray sha256(const QByteArray &bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

QByteArray noise(qsizetype size) {
    QByteArray bytes(size, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

/// Another program takes the room on the disk, all but that, once the installation is so far.
struct Filling {
    Step step = Step::waiting; // which an installation that has begun never is
    int mebibytesLeft = 0;
};

} // namespace

Q_DECLARE_METATYPE(Filling)
Q_DECLARE_METATYPE(Step)

/// Models from a real HTTPS server whose authority this test makes and trusts.
class ModelInstallationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_authority.trustHere(); }
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        m_folders.emplace(m_home->filePath(u"models"_s), QStringList());
        m_server = std::make_unique<ModelServer>(m_identity);
        m_steps.clear();
        m_filling = {};
        m_isUnwanted = false;
        m_obstacle.clear();
        m_patience = {.firstPause = 1ms, .mostFailures = 1};
        m_entry = {};
        m_entry.description.id = u"m"_s;
        m_entry.description.version = u"1"_s;
    }
    void cleanup() {
        m_installation.reset();
        m_server.reset();
        m_home.reset();
    }

    void anArchiveOfAChecksumListIsInstalled() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}, {"m/tokens.txt", "a"}});
        serveArchive(archive, sha256(archive));
        QCOMPARE(install(), QString());
        QCOMPARE(installedFiles(), (QStringList{u"m/model.onnx"_s, u"m/tokens.txt"_s}));
        QCOMPARE(installedContents(u"m/model.onnx"_s), "weights");
        QCOMPARE(left(), QStringList(u"1"_s));
        QCOMPARE(m_steps, (QList{Step::preparing, Step::downloading, Step::checking, Step::unpacking}));
    }

    void thePackedFilesOfAPairAreInstalled() {
        serveTranslation("weights", sha256("weights"));
        QCOMPARE(install(), QString());
        QCOMPARE(installedFiles(), (QStringList{u"lex.bin"_s, u"model.bin"_s, u"vocab.spm"_s}));
        QCOMPARE(installedContents(u"vocab.spm"_s), "pieces");
    }

    void severalFilesAreInstalledAndWhatHasNoHashIsRecorded() {
        for (const QByteArray &name : {"a", "b", "c", "d", "deep/e"})
            serveFile(QString::fromLatin1(name), "contents of " + name);
        QCOMPARE(install(), QString());
        QCOMPARE(installedFiles(), (QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"deep/e"_s}));
        const auto manifest = m_folders->installed(u"m"_s).first().manifest;
        QCOMPARE(manifest->files.last().sha256, sha256("contents of deep/e"));
    }

    void whoCannotBeReachedIsToldWhileItIsTriedAgain() {
        m_patience = {.firstPause = 1ms, .mostFailures = 20};
        serveFile(u"model.bin"_s, "weights");
        m_entry.files.first().address = nobody();
        begin();
        QVERIFY(waitUntil([&] { return !m_obstacle.isEmpty(); }));
        QCOMPARE(m_obstacle, u"Could not connect to 127.0.0.1: connection refused."_s);
        m_installation.reset();
        m_obstacle.clear();
        serveArchive("archive", sha256("archive"));
        m_entry.files.clear();
        m_entry.index->address = nobody();
        begin();
        QVERIFY(waitUntil([&] { return !m_obstacle.isEmpty(); }));
        QCOMPARE(m_obstacle, u"Could not connect to 127.0.0.1: connection refused."_s);
    }

    void anotherChecksumIsRefusedAndTheOldVersionStays() {
        installVersion0();
        serveFile(u"model.bin"_s, "weights");
        m_entry.files.first().sha256 = sha256("other");
        QCOMPARE(install(), u"\"model.bin\" is not what its publisher describes: its checksum differs."_s);
        QCOMPARE(m_folders->installed(u"m"_s).size(), 1);
        QCOMPARE(m_folders->installed(u"m"_s).first().version, u"0"_s);
        QVERIFY(!QFile::exists(m_folders->partsFolder(u"m"_s, u"1"_s) + u"/0"_s));
    }

    void otherContentsOfAPackedFileAreRefused() {
        serveTranslation("weights", sha256("other"));
        QCOMPARE(install(), u"\"model.bin\" is not what its publisher describes: its checksum differs."_s);
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
    }

    void anIndexThatLiesIsFoundOut() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(archive, sha256("another archive"));
        QCOMPARE(install(), u"\"m.tar.bz2\" is not what its publisher describes: its checksum differs."_s);
        QVERIFY(!m_steps.contains(Step::unpacking));
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
    }

    void whatWasRefusedIsDownloadedAnew() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(archive, sha256(archive));
        m_server->files[u"/files/m.tar.bz2"_s] = "something else";
        QCOMPARE(install(), u"\"m.tar.bz2\" is not what its publisher describes: its checksum differs."_s);
        serveArchive(archive, sha256(archive));
        QCOMPARE(install(), QString());
        QCOMPARE(installedContents(u"m/model.onnx"_s), "weights");
    }

    void whatWasRefusedOnceUnpackedIsDownloadedAnew() {
        serveTranslation("other weights", sha256("weights"));
        QCOMPARE(install(), u"\"model.bin\" is not what its publisher describes: its checksum differs."_s);
        serveTranslation("weights", sha256("weights"));
        QCOMPARE(install(), QString());
        QCOMPARE(installedContents(u"model.bin"_s), "weights");
    }

    void anIndexWithoutTheModelIsSaidSo() {
        serveArchive({}, sha256({}));
        m_server->files[u"/checksum.txt"_s] = "other.tar.bz2\t" + sha256({});
        QCOMPARE(install(), u"The index at 127.0.0.1 does not name \"m.tar.bz2\"."_s);
    }

    void anIndexThatIsNotThereIsSaidSo() {
        serveArchive({}, sha256({}));
        m_server->files.remove(u"/checksum.txt"_s);
        QCOMPARE(install(), u"127.0.0.1 answered with the error 404."_s);
    }

    void aHostileArchiveInstallsNothing() {
        const QByteArray archive = test::packed({{"good", "x"}, {"../../../evil", "x"}});
        serveArchive(archive, sha256(archive));
        QCOMPARE(
            install(),
            u"What was downloaded cannot be unpacked: a name in it leads out of its folder, or is none."_s);
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
        QVERIFY(!QFile::exists(m_home->filePath(u"evil"_s)));
    }

    void aPausedInstallationGoesOnWithoutAskingAgainForWhatItHas() {
        serveFile(u"a"_s, "first");
        serveFile(u"b"_s, "second");
        m_server->files.remove(u"/b"_s);
        m_server->silent += u"/b"_s;
        const auto outcome = begin();
        QVERIFY(waitUntil([&] { return partIsWhole(0) && m_server->http().requests().size() == 2; }));
        m_installation.reset();
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
        QVERIFY(m_folders->hasParts(u"m"_s));
        m_server->silent.clear();
        m_server->files[u"/b"_s] = "second";
        QCOMPARE(install(), QString());
        QCOMPARE(installedContents(u"a"_s), "first");
        QCOMPARE(m_server->requestCount(u"/a"_s), 1);
        QVERIFY(!m_folders->hasParts(u"m"_s));
    }

    void aPausedInstallationAsksAgainForItsIndex() {
        const QByteArray before = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(before, sha256(before));
        m_server->files.remove(u"/files/m.tar.bz2"_s);
        m_server->silent += u"/files/m.tar.bz2"_s;
        const auto outcome = begin();
        QVERIFY(waitUntil([&] { return m_server->http().requests().size() == 2; }));
        m_installation.reset();
        m_server->silent.clear();
        const QByteArray now = test::packed({{"m/model.onnx", "better weights"}});
        serveArchive(now, sha256(now));
        QCOMPARE(install(), QString());
        QCOMPARE(installedContents(u"m/model.onnx"_s), "better weights");
    }

    void whatIsInstalledByAnotherProgramIsLeftToIt() {
        serveFile(u"a"_s, "first");
        const auto lock = m_folders->lock(u"m"_s);
        QCOMPARE(install(), u"The model is being installed by another program."_s);
        QCOMPARE(m_server->http().connectionCount(), 0);
    }

    void aModelThatIsLargerThanTheDiskIsRefusedBeforeADownload() {
        serveFile(u"a"_s, "first");
        m_entry.files.first().size = qint64{1} << 49;
        const QString fault = install();
        QVERIFY2(fault.startsWith(u"The model needs 562.9 TB on the disk, and "), qPrintable(fault));
        QVERIFY2(fault.endsWith(u" are free. Make room for it."), qPrintable(fault));
        QCOMPARE(m_server->http().connectionCount(), 0);
    }

    void aDownloadOfUnknownSizeCountsAsLargeAsTheInstalledModel() {
        serveFile(u"a"_s, "first");
        m_entry.description.installedSize = qint64{1} << 49;
        const QString fault = install();
        QVERIFY2(fault.startsWith(u"The model needs 562.9 TB on the disk, and "), qPrintable(fault));
        QCOMPARE(m_server->http().connectionCount(), 0);
    }

    void aPackedModelNeedsSpaceForTheDownloadAndForWhatComesOutOfIt() {
        serveArchive({}, sha256({}));
        m_entry.description.installedSize = qint64{1} << 49;
        const QString fault = install();
        QVERIFY2(fault.startsWith(u"The model needs 1.1 PB on the disk, and "), qPrintable(fault));
        QCOMPARE(m_server->requestCount(u"/files/m.tar.bz2"_s), 0);
    }

    void aDownloadThatIsThereAlreadyNeedsNoMoreSpace() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(archive, sha256(archive));
        begin([this] { return m_steps.contains(Step::unpacking); });
        QVERIFY(waitUntil([&] { return m_steps.contains(Step::unpacking); }));
        m_installation.reset();
        QVERIFY(partIsWhole(0));
        m_entry.description.installedSize = qint64{1} << 49;
        const QString fault = install();
        QVERIFY2(fault.startsWith(u"The model needs 562.9 TB on the disk, and "), qPrintable(fault));
    }

    void aModelThatTurnsOutLargerThanTheDiskIsRefusedBeforeAnythingComes() {
        serveFile(u"a"_s, "first");
        m_server->silent += u"/a"_s;
        const auto outcome = begin();
        QVERIFY(waitUntil([&] { return m_server->http().requests().size() == 1; }));
        m_server->http().answerHeld(0, "HTTP/1.1 200 OK\r\nContent-Length: 562949953421312\r\n\r\nfirst");
        QVERIFY(waitUntil([&] { return outcome->has_value(); }));
        QVERIFY2((*outcome)->startsWith(u"The model needs 562.9 TB on the disk, and "),
                 qPrintable(**outcome));
        QVERIFY(!m_folders->hasParts(u"m"_s));
    }

    void aRepairWaitsForTheUserOfTheDamagedVersion() {
        serveFile(u"a"_s, "first");
        QCOMPARE(install(), QString());
        test::writeFile(m_folders->installed(u"m"_s).first().filesFolder() + u"/a"_s, "damaged");
        auto use = FolderHold::of(m_folders->installed(u"m"_s).first().folder, FolderHold::Kind::shared);
        const auto outcome = begin();
        QVERIFY(waitUntil([&] { return m_steps.contains(Step::unpacking); }));
        QCOMPARE(installedContents(u"a"_s), "damaged");
        use.reset();
        QVERIFY(waitUntil([&] { return outcome->has_value(); }));
        QCOMPARE(**outcome, QString());
        QCOMPARE(installedContents(u"a"_s), "first");
    }

    void workThatIsNotWantedAnyMoreInstallsNothing() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(archive, sha256(archive));
        m_isUnwanted = true;
        begin();
        QVERIFY(waitUntil([&] { return m_steps.contains(Step::checking); }));
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
    }

    void anUnpackingThatIsBrokenOffLeavesNothingButTheDownload() {
        const QByteArray archive = test::packed({{"m/model.onnx", "weights"}});
        serveArchive(archive, sha256(archive));
        const auto outcome = begin([this] { return m_steps.contains(Step::unpacking); });
        QVERIFY(waitUntil([&] { return m_steps.contains(Step::unpacking); }));
        m_installation.reset();
        QCOMPARE(left(), QStringList(u".1.parts"_s));
        QVERIFY(partIsWhole(0));
        QVERIFY(!outcome->has_value());
    }

    void anInstallationThatWaitsForAUserLeavesNothingButTheDownloadOnceItIsBrokenOff() {
        serveFile(u"a"_s, "first");
        QCOMPARE(install(), QString());
        const auto use =
            FolderHold::of(m_folders->installed(u"m"_s).first().folder, FolderHold::Kind::shared);
        begin();
        QVERIFY(waitUntil([&] { return m_steps.count(Step::unpacking) == 2; }));
        m_installation.reset();
        QCOMPARE(left(), (QStringList{u".1.parts"_s, u"1"_s}));
    }

    void aFullDiskLeavesTheOldVersionAndWhatCameAlready_data() {
        QTest::addColumn<int>("mebibytes");
        QTest::addColumn<QByteArray>("model");
        QTest::addColumn<int>("statedMebibytes");
        QTest::addColumn<Filling>("filling");
        QTest::addColumn<Step>("lastStep");
        QTest::addColumn<QString>("fault");
        const QByteArray dense = noise(20 << 20), loose = noise(10 << 20) + QByteArray(30 << 20, '\0');
        QTest::newRow("before the download")
            << 55 << dense << 20 << Filling() << Step::preparing << u"The model needs "_s;
        QTest::newRow("once the server says how much it sends")
            << 55 << dense << 0 << Filling() << Step::downloading << u"The model needs "_s;
        QTest::newRow("during the download")
            << 64 << dense << 20 << Filling{Step::downloading, 1} << Step::downloading
            << u"\"m.tar.gz\" could not be written: No space left on device."_s;
        QTest::newRow("before it is unpacked")
            << 64 << dense << 20 << Filling{Step::checking, 30} << Step::checking << u"The model needs "_s;
        QTest::newRow("while it is unpacked")
            << 64 << loose << 0 << Filling{Step::unpacking, 20} << Step::unpacking
            << u"\"model.onnx\" could not be written: No space left on device."_s;
        QTest::newRow("while the manifest is written")
            << 64 << dense << 20 << Filling{Step::unpacking, 20} << Step::unpacking
            << u"\"manifest.json\" could not be written: No space left on device."_s;
    }
    void aFullDiskLeavesTheOldVersionAndWhatCameAlready() {
        QFETCH(const int, mebibytes);
        QFETCH(const QByteArray, model);
        QFETCH(const int, statedMebibytes);
        QFETCH(const Filling, filling);
        QFETCH(const Step, lastStep);
        QFETCH(const QString, fault);
        QVERIFY(QDir().mkpath(m_folders->own()));
        const QByteArray disk = QFile::encodeName(m_folders->own());
        const QByteArray options = "size=" + QByteArray::number(mebibytes) + 'm';
        if (::mount("tmpfs", disk.constData(), "tmpfs", 0, options.constData()) != 0) {
            QCOMPARE(errno, EPERM);
            QSKIP("nobody may mount a small disk here, not even as the superuser of a namespace");
        }
        const auto unmount = qScopeGuard([&] { ::umount2(disk.constData(), MNT_DETACH); });
        installVersion0();
        const QByteArray archive = test::packed({{"m/model.onnx", model}}, test::PackedFormat::tarGzip);
        serveArchive(archive, sha256(archive), "m.tar.gz");
        if (statedMebibytes > 0)
            m_entry.description.installedSize = qint64{statedMebibytes} << 20;
        if (filling.step == Step::downloading)
            m_server->silent += u"/files/m.tar.gz"_s; // it is sent below, in two parts
        else
            m_filling = filling;
        const auto outcome = begin();
        if (filling.step == Step::downloading) {
            QVERIFY(waitUntil([&] { return m_server->http().requests().size() == 2; }));
            const QByteArray answer = test::RawHttpServer::response(200, archive);
            m_server->http().answerHeld(1, answer.first(answer.size() / 2));
            QVERIFY(waitUntil([&] { return m_folders->hasParts(u"m"_s); }));
            leaveOnDisk(filling.mebibytesLeft);
            m_server->http().send(answer.sliced(answer.size() / 2));
        }
        QVERIFY(waitUntil([&] { return outcome->has_value(); }));
        QVERIFY2((*outcome)->startsWith(fault), qPrintable(**outcome));
        QCOMPARE(m_steps.last(), lastStep);
        QCOMPARE(m_folders->installed(u"m"_s).size(), 1);
        QCOMPARE(installedContents(u"old"_s), "old weights");
        QCOMPARE(left(), (QStringList{u".1.parts"_s, u"0"_s}));
        if (m_steps.contains(Step::checking))
            QVERIFY(partIsWhole(0));
    }

private:
    using Outcome = std::shared_ptr<std::optional<QString>>;

    void serveFile(const QString &name, const QByteArray &contents) {
        m_server->files[u'/' + name] = contents;
        m_entry.files += {.name = name, .address = m_server->http().url(u'/' + name)};
    }
    void serveArchive(const QByteArray &archive, const QByteArray &checksum,
                      const QByteArray &name = "m.tar.bz2") {
        m_server->files[u"/files/"_s + QString::fromLatin1(name)] = archive;
        m_server->files[u"/checksum.txt"_s] = name + '\t' + checksum + '\n';
        m_entry.index = {.form = ModelIndex::Form::checksums,
                         .address = m_server->http().url(u"/checksum.txt"_s),
                         .files = m_server->http().url(u"/files/"_s),
                         .name = QString::fromLatin1(name),
                         .architecture = {}};
    }
    void serveTranslation(const QByteArray &weights, const QByteArray &checksum) {
        m_server->files[u"/m/model.bin.gz"_s] = test::gzipped(weights);
        m_server->files[u"/m/lex.bin.gz"_s] = test::gzipped("words");
        m_server->files[u"/m/vocab.spm.gz"_s] = test::gzipped("pieces");
        m_server->files[u"/db.json"_s] =
            "{\"en-ru\": [{\"architecture\": \"tiny\", \"files\": {\"model\": {\"path\": \"m/model.bin.gz\", "
            "\"uncompressedHash\": \"" +
            checksum +
            "\"}, \"lexicalShortlist\": {\"path\": \"m/lex.bin.gz\"}, "
            "\"vocab\": {\"path\": \"m/vocab.spm.gz\"}}}]}";
        m_entry.index = {.form = ModelIndex::Form::translations,
                         .address = m_server->http().url(u"/db.json"_s),
                         .files = m_server->http().url(u"/"_s),
                         .name = u"en-ru"_s,
                         .architecture = u"tiny"_s};
    }
    void installVersion0() {
        test::writeFile(m_folders->newFolder(u"m"_s, u"0"_s) + u"/files/old"_s, "old weights");
        QVERIFY(m_folders->publish(u"m"_s, u"0"_s, {}, [] { return false; }));
    }

    bool waitUntil(const std::function<bool()> &condition) { return m_server->waitUntil(condition); }
    bool partIsWhole(int number) const {
        QFile note(m_folders->partsFolder(u"m"_s, u"1"_s) + u"/%1.note"_s.arg(number));
        return note.open(QIODevice::ReadOnly) && note.readAll().contains("\"whole\": true");
    }

    /// Where there was a server.
    QUrl nobody() const { return test::RawHttpServer(m_identity).url(u"/model"_s); }

    Outcome begin() {
        return begin([this] { return m_isUnwanted; });
    }
    Outcome begin(const IsUnwanted &isUnwanted) {
        auto outcome = std::make_shared<std::optional<QString>>();
        m_installation = std::make_unique<ModelInstallation>(
            m_entry, *m_folders, DownloadGround{m_queue, m_proxies, m_mirrors, m_patience}, isUnwanted,
            ModelInstallation::Listener{.progressed =
                                            [this](const ModelProgress &progress) {
                                                m_obstacle = progress.obstacle;
                                                if (m_steps.isEmpty() || m_steps.last() != progress.step)
                                                    m_steps += progress.step;
                                                if (progress.step == m_filling.step)
                                                    leaveOnDisk(std::exchange(m_filling, {}).mebibytesLeft);
                                            },
                                        .ended = [outcome](const QString &fault) { *outcome = fault; }});
        m_installation->start();
        return outcome;
    }
    QString install() {
        const auto outcome = begin();
        return waitUntil([&] { return outcome->has_value(); }) ? **outcome : u"it did not end"_s;
    }

    QStringList installedFiles() const {
        const auto model = m_folders->installed(u"m"_s).first();
        QStringList names;
        for (const auto &file : model.manifest->files)
            names += file.name;
        return names;
    }
    QByteArray installedContents(const QString &name) const {
        return test::readFile(m_folders->installed(u"m"_s).first().filesFolder() + u'/' + name);
    }
    /// Another program takes the rest.
    void leaveOnDisk(int mebibytes) const {
        const qint64 rest = QStorageInfo(m_folders->own()).bytesAvailable() - (qint64{mebibytes} << 20);
        test::writeFile(m_folders->own() + u"/filling"_s, QByteArray(std::max<qint64>(0, rest), 'x'));
    }
    QStringList left() const {
        return QDir(m_folders->own() + u"/m"_s)
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    const test::ThrowAwayAuthority m_authority;
    const QSslConfiguration m_identity = m_authority.issue(u"127.0.0.1"_s);
    LinuxMainQueue m_queue;
    SystemProxies m_proxies{m_queue};
    const Mirrors m_mirrors;
    std::unique_ptr<QTemporaryDir> m_home;
    std::optional<ModelFolders> m_folders;
    std::unique_ptr<ModelServer> m_server;
    DownloadPatience m_patience;
    QList<Step> m_steps;
    QString m_obstacle; ///< that was told last
    Filling m_filling;
    bool m_isUnwanted = false;
    CatalogEntry m_entry;
    std::unique_ptr<ModelInstallation> m_installation;
};

QTEST_GUILESS_MAIN(ModelInstallationTest)
#include "ModelInstallationTest.moc"
