#include "platform/linux/models/ModelFolders.h"

#include "support/Files.h"
#include "support/WithoutSuperuser.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora;
using namespace platform;

namespace {

constexpr auto wanted = [] { return false; };

} // namespace

class ModelFoldersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        m_folders.emplace(m_home->filePath(u"own"_qs), QStringList(m_home->filePath(u"shared"_qs)));
    }
    void cleanup() { m_home.reset(); }

    void aModelAppearsWithItsManifest() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto found = m_folders->installed(u"m"_qs);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().version, u"1"_qs);
        QVERIFY(found.first().isOwn);
        QVERIFY(found.first().manifest);
        QCOMPARE(found.first().manifest->files.size(), 1);
        const auto &file = found.first().manifest->files.first();
        QCOMPARE(file.name, u"a/model.bin"_qs);
        QCOMPARE(file.size, 7);
        QCOMPARE(file.sha256, QCryptographicHash::hash("weights", QCryptographicHash::Sha256).toHex());
        QCOMPARE(found.first().manifest->glance(found.first().filesFolder()), ModelManifest::Glance::same);
        QVERIFY(found.first().manifest->fault(found.first().filesFolder(), wanted).isNull());
        QVERIFY(!QFileInfo::exists(m_folders->newFolder(u"m"_qs, u"1"_qs)));
    }

    void whatIsKnownOfAFileIsNotComputedAgain() {
        test::writeFile(m_folders->newFolder(u"m"_qs, u"1"_qs) + u"/files/known"_qs, "weights");
        test::writeFile(m_folders->newFolder(u"m"_qs, u"1"_qs) + u"/files/unknown"_qs, "weights");
        const QByteArray known(64, 'a');
        QVERIFY(m_folders->publish(u"m"_qs, u"1"_qs, {{u"known"_qs, known}}, wanted));
        const auto manifest = m_folders->installed(u"m"_qs).first().manifest;
        QCOMPARE(manifest->files[0].sha256, known);
        QCOMPARE(manifest->files[1].sha256,
                 QCryptographicHash::hash("weights", QCryptographicHash::Sha256).toHex());
    }

    void anotherSizeIsDamageAtAGlance() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto model = m_folders->installed(u"m"_qs).first();
        test::writeFile(model.filesFolder() + u"/a/model.bin"_qs, "other weights");
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
    }

    void aFileThatIsGoneIsDamageAtAGlance() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto model = m_folders->installed(u"m"_qs).first();
        QVERIFY(QFile::remove(model.filesFolder() + u"/a/model.bin"_qs));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
        QCOMPARE(model.manifest->fault(model.filesFolder(), wanted),
                 u"\"model.bin\" could not be read: No such file or directory."_qs);
    }

    void aLinkInPlaceOfAFileIsDamage() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto model = m_folders->installed(u"m"_qs).first();
        const QString path = model.filesFolder() + u"/a/model.bin"_qs;
        QVERIFY(QFile::rename(path, m_home->filePath(u"elsewhere"_qs)));
        QVERIFY(QFile::link(m_home->filePath(u"elsewhere"_qs), path));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
    }

    void sameSizeAtAnotherTimeIsForTheChecksumsToDecide() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto model = m_folders->installed(u"m"_qs).first();
        QFile file(model.filesFolder() + u"/a/model.bin"_qs);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(1000), QFileDevice::FileModificationTime));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::touched);
        QVERIFY(model.manifest->fault(model.filesFolder(), wanted).isNull());
        file.write("W");
        file.flush();
        QCOMPARE(model.manifest->fault(model.filesFolder(), wanted),
                 u"\"a/model.bin\" is not as it was installed."_qs);
    }

    void aManifestThatDoesNotParseMakesTheModelDamaged_data() {
        QTest::addColumn<QByteArray>("manifest");
        const auto manifest = [](const QByteArray &id, const QByteArray &files) {
            return "{\"form\": 1, \"id\": \"" + id + "\", \"version\": \"1\", \"files\": [" + files + "]}";
        };
        const auto file = [](const QByteArray &name) {
            return "{\"name\": \"" + name + "\", \"size\": 0, \"modified\": 0, \"sha256\": \"" +
                   QByteArray(64, 'a') + "\"}";
        };
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("garbage");
        QTest::newRow("another model's") << manifest("x", file("a"));
        QTest::newRow("without files") << manifest("m", {});
        QTest::newRow("leading elsewhere") << manifest("m", file("../a"));
    }
    void aManifestThatDoesNotParseMakesTheModelDamaged() {
        QFETCH(const QByteArray, manifest);
        QVERIFY(publish(u"1"_qs, "weights"));
        test::writeFile(m_home->filePath(u"own/m/1/manifest.json"_qs), manifest);
        const auto found = m_folders->installed(u"m"_qs);
        QCOMPARE(found.size(), 1);
        QVERIFY(!found.first().manifest);
    }

    void versionsComeNewestFirstAndNumbersCount() {
        for (const QString &version : {u"9"_qs, u"10"_qs, u"v3"_qs, u"2025-08-06"_qs, u"10.1"_qs})
            QVERIFY(publish(version, "weights"));
        QStringList versions;
        for (const auto &model : m_folders->installed(u"m"_qs))
            versions += model.version;
        QCOMPARE(versions, (QStringList{u"v3"_qs, u"2025-08-06"_qs, u"10.1"_qs, u"10"_qs, u"9"_qs}));
    }

    void anAdministratorsModelIsFoundAndWinsNothingOverANewerOwnOne() {
        QVERIFY(publish(u"1"_qs, "weights"));
        QVERIFY(QDir(m_home->path()).rename(u"own"_qs, u"shared"_qs));
        QVERIFY(!m_folders->installed(u"m"_qs).first().isOwn);
        QVERIFY(publish(u"2"_qs, "weights"));
        QVERIFY(m_folders->installed(u"m"_qs).first().isOwn);
        QCOMPARE(m_folders->installed(u"m"_qs).size(), 2);
    }

    void ofOneVersionTheOwnComesFirst() {
        QVERIFY(publish(u"1"_qs, "weights"));
        QVERIFY(QDir(m_home->path()).rename(u"own"_qs, u"shared"_qs));
        QVERIFY(publish(u"1"_qs, "weights"));
        QVERIFY(m_folders->installed(u"m"_qs).first().isOwn);
    }

    void aRepairTakesTheVersionsPlace() {
        QVERIFY(publish(u"1"_qs, "weights"));
        QVERIFY(publish(u"1"_qs, "better"));
        const auto found = m_folders->installed(u"m"_qs);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().manifest->files.first().size, 6);
        QCOMPARE(QDir(m_home->filePath(u"own/m"_qs))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList(u"1"_qs));
    }

    void aVersionInUseIsNeitherReplacedNorRemoved() {
        QVERIFY(publish(u"1"_qs, "weights"));
        const auto model = m_folders->installed(u"m"_qs).first();
        auto use = FolderHold::of(model.folder, FolderHold::Kind::shared);
        auto another = FolderHold::of(model.folder, FolderHold::Kind::shared);
        QVERIFY(use && another);
        QVERIFY(!publish(u"1"_qs, "better"));
        QVERIFY(!m_folders->remove(model));
        use.reset();
        QVERIFY(!m_folders->remove(model));
        another.reset();
        QVERIFY(m_folders->remove(model));
        QVERIFY(m_folders->installed(u"m"_qs).isEmpty());
    }

    void removalLeavesNothingBehind() {
        QVERIFY(publish(u"1"_qs, "weights"));
        QVERIFY(m_folders->remove(m_folders->installed(u"m"_qs).first()));
        QCOMPARE(QDir(m_home->filePath(u"own"_qs))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void oneProcessInstallsAModelAtATime() {
        const auto lock = m_folders->lock(u"m"_qs);
        QVERIFY(lock);
        QVERIFY(!m_folders->lock(u"m"_qs));
        QVERIFY(m_folders->lock(u"another"_qs));
    }

    void aLockGoesWithItsHolder() {
        m_folders->lock(u"m"_qs).reset();
        QVERIFY(m_folders->lock(u"m"_qs));
    }

    void aFolderThatCannotBeWrittenToIsSaidSo() {
        QVERIFY(QDir().mkpath(m_home->filePath(u"own"_qs)));
        QVERIFY(QFile::setPermissions(m_home->filePath(u"own"_qs),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const test::WithoutSuperuser ordinary;
        try {
            m_folders->lock(u"m"_qs);
            QFAIL("the folder was written to");
        } catch (const ModelFault &fault) {
            QCOMPARE(fault.errorDescription(),
                     u"The folder \"%1\" cannot be written to."_qs.arg(m_home->filePath(u"own"_qs)));
        }
    }

    void remainsOfAnInterruptedInstallationGoAndWhatWasDownloadedStays() {
        test::writeFile(m_folders->newFolder(u"m"_qs, u"1"_qs) + u"/files/half"_qs, "x");
        test::writeFile(m_home->filePath(u"own/m/.removed-7/files/a"_qs), "x");
        test::writeFile(m_folders->partsFolder(u"m"_qs, u"1"_qs) + u"/0"_qs, "x");
        QVERIFY(m_folders->installed(u"m"_qs).isEmpty());
        m_folders->removeRemains(u"m"_qs);
        QVERIFY(m_folders->hasParts(u"m"_qs));
        QCOMPARE(QDir(m_home->filePath(u"own/m"_qs))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList(u".1.parts"_qs));
        m_folders->removeParts(u"m"_qs);
        QVERIFY(!m_folders->hasParts(u"m"_qs));
    }

private:
    /// What an installation does once the files are there.
    bool publish(const QString &version, const QByteArray &contents) const {
        test::writeFile(m_folders->newFolder(u"m"_qs, version) + u"/files/a/model.bin"_qs, contents);
        return m_folders->publish(u"m"_qs, version, {}, wanted);
    }

    std::unique_ptr<QTemporaryDir> m_home;
    std::optional<ModelFolders> m_folders;
};

QTEST_GUILESS_MAIN(ModelFoldersTest)
#include "ModelFoldersTest.moc"
