#include "platform/linux/models/ModelFolders.h"

#include "support/Files.h"
#include "support/SetVariable.h"
#include "support/WithoutSuperuser.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
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
        m_folders.emplace(m_home->filePath(u"own"_s), QStringList(m_home->filePath(u"shared"_s)));
    }
    void cleanup() { m_home.reset(); }

    void theUsersDataFolderHoldsHisModelsAndTheOthersHoldThoseOfEveryone() {
        const test::SetVariable own("XDG_DATA_HOME", {m_home->filePath(u"mine"_s)});
        const test::SetVariable shared("XDG_DATA_DIRS", {m_home->filePath(u"a"_s), m_home->filePath(u"b"_s)});
        const auto place = [this](const QString &folder, const QString &id) {
            const QString path = m_home->filePath(folder + u"/Quillora/models/"_s + id + u"/1"_s);
            QDir().mkpath(path);
            return path;
        };
        const QString mine = place(u"mine"_s, u"m"_s);
        const QString first = place(u"a"_s, u"n"_s);
        const QString second = place(u"b"_s, u"o"_s);
        const auto folders = ModelFolders::standard();
        QCOMPARE(folders.own(), m_home->filePath(u"mine/Quillora/models"_s));
        QCOMPARE(folders.ids(), (QStringList{u"m"_s, u"n"_s, u"o"_s}));
        const auto is = [&folders](const QString &id, const QString &path, bool isOwn) {
            const auto found = folders.installed(id);
            return found.size() == 1 && found.first().folder == path && found.first().isOwn == isOwn;
        };
        QVERIFY(is(u"m"_s, mine, true));
        QVERIFY(is(u"n"_s, first, false));
        QVERIFY(is(u"o"_s, second, false));
    }

    void aModelAppearsWithItsManifest() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto found = m_folders->installed(u"m"_s);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().version, u"1"_s);
        QVERIFY(found.first().isOwn);
        QVERIFY(found.first().manifest);
        QCOMPARE(found.first().manifest->files.size(), 1);
        const auto &file = found.first().manifest->files.first();
        QCOMPARE(file.name, u"a/model.bin"_s);
        QCOMPARE(file.size, 7);
        QCOMPARE(file.sha256, QCryptographicHash::hash("weights", QCryptographicHash::Sha256).toHex());
        QCOMPARE(found.first().manifest->glance(found.first().filesFolder()), ModelManifest::Glance::same);
        QVERIFY(found.first().manifest->fault(found.first().filesFolder(), wanted).isNull());
        QVERIFY(!QFileInfo::exists(m_folders->newFolder(u"m"_s, u"1"_s)));
    }

    void whatIsKnownOfAFileIsNotComputedAgain() {
        test::writeFile(m_folders->newFolder(u"m"_s, u"1"_s) + u"/files/known"_s, "weights");
        test::writeFile(m_folders->newFolder(u"m"_s, u"1"_s) + u"/files/unknown"_s, "weights");
        const QByteArray known(64, 'a');
        QVERIFY(m_folders->publish(u"m"_s, u"1"_s, {{u"known"_s, known}}, wanted));
        const auto manifest = m_folders->installed(u"m"_s).first().manifest;
        QCOMPARE(manifest->files[0].sha256, known);
        QCOMPARE(manifest->files[1].sha256,
                 QCryptographicHash::hash("weights", QCryptographicHash::Sha256).toHex());
    }

    void anotherSizeIsDamageAtAGlance() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto model = m_folders->installed(u"m"_s).first();
        test::writeFile(model.filesFolder() + u"/a/model.bin"_s, "other weights");
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
    }

    void aFileThatIsGoneIsDamageAtAGlance() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto model = m_folders->installed(u"m"_s).first();
        QVERIFY(QFile::remove(model.filesFolder() + u"/a/model.bin"_s));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
        QCOMPARE(model.manifest->fault(model.filesFolder(), wanted),
                 u"\"model.bin\" could not be read: No such file or directory."_s);
    }

    void aLinkInPlaceOfAFileIsDamage() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto model = m_folders->installed(u"m"_s).first();
        const QString path = model.filesFolder() + u"/a/model.bin"_s;
        QVERIFY(QFile::rename(path, m_home->filePath(u"elsewhere"_s)));
        QVERIFY(QFile::link(m_home->filePath(u"elsewhere"_s), path));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::damaged);
    }

    void sameSizeAtAnotherTimeIsForTheChecksumsToDecide() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto model = m_folders->installed(u"m"_s).first();
        QFile file(model.filesFolder() + u"/a/model.bin"_s);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(1000), QFileDevice::FileModificationTime));
        QCOMPARE(model.manifest->glance(model.filesFolder()), ModelManifest::Glance::touched);
        QVERIFY(model.manifest->fault(model.filesFolder(), wanted).isNull());
        file.write("W");
        file.flush();
        QCOMPARE(model.manifest->fault(model.filesFolder(), wanted),
                 u"\"a/model.bin\" is not as it was installed."_s);
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
        QTest::newRow("another version's")
            << manifest("m", file("a")).replace("\"version\": \"1\"", "\"version\": \"2\"");
        QTest::newRow("without files") << manifest("m", {});
        QTest::newRow("leading elsewhere") << manifest("m", file("../a"));
    }
    void aManifestThatDoesNotParseMakesTheModelDamaged() {
        QFETCH(const QByteArray, manifest);
        QVERIFY(publish(u"1"_s, "weights"));
        test::writeFile(m_home->filePath(u"own/m/1/manifest.json"_s), manifest);
        const auto found = m_folders->installed(u"m"_s);
        QCOMPARE(found.size(), 1);
        QVERIFY(!found.first().manifest);
    }

    void versionsComeNewestFirstAndNumbersCount() {
        for (const QString &version : {u"9"_s, u"10"_s, u"v3"_s, u"2025-08-06"_s, u"10.1"_s})
            QVERIFY(publish(version, "weights"));
        QStringList versions;
        for (const auto &model : m_folders->installed(u"m"_s))
            versions += model.version;
        QCOMPARE(versions, (QStringList{u"v3"_s, u"2025-08-06"_s, u"10.1"_s, u"10"_s, u"9"_s}));
    }

    void anAdministratorsModelIsFoundAndWinsNothingOverANewerOwnOne() {
        QVERIFY(publish(u"1"_s, "weights"));
        QVERIFY(QDir(m_home->path()).rename(u"own"_s, u"shared"_s));
        QVERIFY(!m_folders->installed(u"m"_s).first().isOwn);
        QVERIFY(publish(u"2"_s, "weights"));
        QVERIFY(m_folders->installed(u"m"_s).first().isOwn);
        QCOMPARE(m_folders->installed(u"m"_s).size(), 2);
    }

    void ofOneVersionTheOwnComesFirst() {
        QVERIFY(publish(u"1"_s, "weights"));
        QVERIFY(QDir(m_home->path()).rename(u"own"_s, u"shared"_s));
        QVERIFY(publish(u"1"_s, "weights"));
        QVERIFY(m_folders->installed(u"m"_s).first().isOwn);
    }

    void aRepairTakesTheVersionsPlace() {
        QVERIFY(publish(u"1"_s, "weights"));
        QVERIFY(publish(u"1"_s, "better"));
        const auto found = m_folders->installed(u"m"_s);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().manifest->files.first().size, 6);
        QCOMPARE(QDir(m_home->filePath(u"own/m"_s))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList(u"1"_s));
    }

    void aVersionInUseIsNeitherReplacedNorRemoved() {
        QVERIFY(publish(u"1"_s, "weights"));
        const auto model = m_folders->installed(u"m"_s).first();
        auto use = FolderHold::of(model.folder, FolderHold::Kind::shared);
        auto another = FolderHold::of(model.folder, FolderHold::Kind::shared);
        QVERIFY(use && another);
        QVERIFY(!publish(u"1"_s, "better"));
        QVERIFY(!m_folders->remove(model));
        use.reset();
        QVERIFY(!m_folders->remove(model));
        another.reset();
        QVERIFY(m_folders->remove(model));
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
    }

    void removalLeavesNothingBehind() {
        QVERIFY(publish(u"1"_s, "weights"));
        QVERIFY(m_folders->remove(m_folders->installed(u"m"_s).first()));
        QCOMPARE(QDir(m_home->filePath(u"own"_s))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void oneProcessInstallsAModelAtATime() {
        const auto lock = m_folders->lock(u"m"_s);
        QVERIFY(lock);
        QVERIFY(!m_folders->lock(u"m"_s));
        QVERIFY(m_folders->lock(u"another"_s));
    }

    void aLockGoesWithItsHolder() {
        m_folders->lock(u"m"_s).reset();
        QVERIFY(m_folders->lock(u"m"_s));
    }

    void aFolderThatCannotBeWrittenToIsSaidSo() {
        QVERIFY(QDir().mkpath(m_home->filePath(u"own"_s)));
        QVERIFY(QFile::setPermissions(m_home->filePath(u"own"_s),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const test::WithoutSuperuser ordinary;
        try {
            m_folders->lock(u"m"_s);
            QFAIL("the folder was written to");
        } catch (const ModelFault &fault) {
            QCOMPARE(fault.errorDescription(),
                     u"The folder \"%1\" cannot be written to."_s.arg(m_home->filePath(u"own"_s)));
        }
    }

    void remainsOfAnInterruptedInstallationGoAndWhatWasDownloadedStays() {
        test::writeFile(m_folders->newFolder(u"m"_s, u"1"_s) + u"/files/half"_s, "x");
        test::writeFile(m_home->filePath(u"own/m/.removed-7/files/a"_s), "x");
        test::writeFile(m_folders->partsFolder(u"m"_s, u"1"_s) + u"/0"_s, "x");
        QVERIFY(m_folders->installed(u"m"_s).isEmpty());
        m_folders->removeRemains(u"m"_s);
        QVERIFY(m_folders->hasParts(u"m"_s));
        QCOMPARE(QDir(m_home->filePath(u"own/m"_s))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList(u".1.parts"_s));
        m_folders->removeParts(u"m"_s);
        QVERIFY(!m_folders->hasParts(u"m"_s));
    }

private:
    /// What an installation does once the files are there.
    bool publish(const QString &version, const QByteArray &contents) const {
        test::writeFile(m_folders->newFolder(u"m"_s, version) + u"/files/a/model.bin"_s, contents);
        return m_folders->publish(u"m"_s, version, {}, wanted);
    }

    std::unique_ptr<QTemporaryDir> m_home;
    std::optional<ModelFolders> m_folders;
};

QTEST_GUILESS_MAIN(ModelFoldersTest)
#include "ModelFoldersTest.moc"
