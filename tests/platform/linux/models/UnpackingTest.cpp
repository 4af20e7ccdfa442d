#include "platform/linux/models/Unpacking.h"

#include "support/Files.h"
#include "support/PackedFiles.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::UnpackingLimits;
using test::PackedEntry;
using test::PackedFormat;
using Kind = test::PackedEntry::Kind;

namespace {

constexpr auto wanted = [] { return false; };

} // namespace

class UnpackingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_home->path()).mkpath(u"deep/folder"_s));
    }
    void cleanup() { m_home.reset(); }

    void anArchiveIsUnpackedWhole_data() {
        QTest::addColumn<PackedFormat>("format");
        QTest::newRow("tar") << PackedFormat::tar;
        QTest::newRow("tar.bz2") << PackedFormat::tarBzip2;
        QTest::newRow("tar.gz") << PackedFormat::tarGzip;
        QTest::newRow("zip") << PackedFormat::zip;
    }
    void anArchiveIsUnpackedWhole() {
        QFETCH(const PackedFormat, format);
        QCOMPARE(faultOf(test::packed({{"./", {}, Kind::folder},
                                       {"m/", {}, Kind::folder},
                                       {"m/model.onnx", "weights"},
                                       {"m/deep/tokens.txt", "a\n"},
                                       {"./other", {}}},
                                      format)),
                 QString());
        QCOMPARE(files(), (QStringList{u"deep/folder/m/deep/tokens.txt"_s, u"deep/folder/m/model.onnx"_s,
                                       u"deep/folder/other"_s}));
        QCOMPARE(test::readFile(m_home->filePath(u"deep/folder/m/model.onnx"_s)), "weights");
    }

    void theChecksumsOfWhatComesOutAreKnown() {
        const auto sha256 = [](const QByteArray &bytes) {
            return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
        };
        const QByteArray large(600000, 'x');
        const QString packed = m_home->filePath(u"packed"_s);
        test::writeFile(packed, test::packed({{"./m/large", large}, {"empty", {}}}));
        QCOMPARE(platform::unpackArchive(packed, m_home->filePath(u"deep/folder"_s), {}, wanted),
                 (platform::Checksums{{u"m/large"_s, sha256(large)}, {u"empty"_s, sha256({})}}));
        test::writeFile(packed, test::gzipped(large));
        QCOMPARE(platform::unpackGzip(packed, m_home->filePath(u"single"_s), {}, wanted), sha256(large));
    }

    void namesInOtherScriptsAreKept() {
        QCOMPARE(faultOf(test::packed({{"модель/語.bin", "x"}})), QString());
        QCOMPARE(files(), QStringList(u"deep/folder/модель/語.bin"_s));
    }

    void hostileEntriesAreRefused_data() {
        QTest::addColumn<QList<PackedEntry>>("entries");
        QTest::addColumn<QString>("fault");
        const auto row = [](const char *name, const QList<PackedEntry> &entries, const QString &fault) {
            QTest::newRow(name) << entries << fault;
        };
        const QString out = u"a name in it leads out of its folder, or is none"_s;
        const QString link = u"it holds a link"_s;
        const QString special = u"it holds something that is no file"_s;
        const QString twins = u"two names in it mean the same file"_s;
        row("absolute", {{"/etc/evil", "x"}}, out);
        row("upwards", {{"../evil", "x"}}, out);
        row("upwards inside", {{"a/../../evil", "x"}}, out);
        row("upwards behind dots", {{"./a/./../../evil", "x"}}, out);
        row("upwards with backslashes", {{"..\\evil", "x"}}, out);
        row("upwards after a double slash", {{"a//../evil", "x"}}, out);
        row("upwards as a folder", {{"../evil/", {}, Kind::folder}}, out);
        row("no name but dots", {{"..", "x"}}, out);
        row("drive", {{"C:evil", "x"}}, out);
        row("not UTF-8", {{"\xff\xfe", "x"}}, out);
        row("control character", {{"a\x1b[2J", "x"}}, out);
        row("symbolic link out", {{"a", "../../evil", Kind::symlink}, {"a/b", "x"}}, link);
        row("symbolic link inside", {{"b", "x"}, {"a", "b", Kind::symlink}}, link);
        row("hard link out", {{"a", "../../victim", Kind::hardlink}}, link);
        row("hard link inside", {{"b", "x"}, {"a", "b", Kind::hardlink}}, link);
        row("device", {{"null", {}, Kind::device}}, special);
        row("pipe", {{"pipe", {}, Kind::pipe}}, special);
        row("one name twice", {{"a", "1"}, {"a", "2"}}, twins);
        row("case twins", {{"Model.bin", "1"}, {"model.BIN", "2"}}, twins);
        row("Unicode twins", {{"\xc3\xa9", "1"}, {"e\xcc\x81", "2"}}, twins);
        row("case twins of folders", {{"M/a", "1"}, {"m/b", "2"}}, twins);
        row("a file as a folder", {{"a", "1"}, {"a/b", "2"}}, twins);
        row("a folder as a file", {{"a/b", "1"}, {"a", "2"}}, twins);
        row("nothing", {}, u"it holds no files"_s);
        row("folders alone", {{"a/", {}, Kind::folder}}, u"it holds no files"_s);
    }
    void hostileEntriesAreRefused() {
        QFETCH(const QList<PackedEntry>, entries);
        QFETCH(const QString, fault);
        test::writeFile(m_home->filePath(u"victim"_s), "untouched");
        QCOMPARE(faultOf(test::packed(entries)),
                 u"What was downloaded cannot be unpacked: "_s + fault + u'.');
        for (const QString &path : files())
            QVERIFY2(path == u"victim"_s || path.startsWith(u"deep/folder/"_s), qPrintable(path));
        QCOMPARE(test::readFile(m_home->filePath(u"victim"_s)), "untouched");
    }

    void moreFilesThanTheBoundAreRefused() {
        const QByteArray archive = test::packed({{"a", "1"}, {"b", "2"}, {"c", "3"}});
        QCOMPARE(faultOf(archive, {.mostEntries = 2}),
                 u"What was downloaded cannot be unpacked: it holds too many files."_s);
    }

    void bombsGoOffAtTheirBound_data() {
        QTest::addColumn<PackedFormat>("format");
        QTest::newRow("tar.bz2") << PackedFormat::tarBzip2;
        QTest::newRow("zip") << PackedFormat::zip;
    }
    void bombsGoOffAtTheirBound() {
        QFETCH(const PackedFormat, format);
        const QByteArray bomb = test::packed({{"zeros", QByteArray(32 << 20, '\0')}}, format);
        QCOMPARE(faultOf(bomb),
                 u"What was downloaded cannot be unpacked: what it holds is larger than it may be."_s);
        const qint64 bound = std::max<qint64>(1 << 20, UnpackingLimits{}.mostTimesItsSize * bomb.size());
        QVERIFY(QFileInfo(m_home->filePath(u"deep/folder/zeros"_s)).size() <= bound);
    }

    void aGzipBombGoesOffAtItsBound() {
        QCOMPARE(gzipFaultOf(test::gzipped(QByteArray(32 << 20, '\0'))),
                 u"What was downloaded cannot be unpacked: what it holds is larger than it may be."_s);
    }

    void theBoundInBytesHoldsToo() {
        QCOMPARE(faultOf(test::packed({{"a", QByteArray(600, 'a')}, {"b", QByteArray(600, 'b')}}),
                         {.mostBytes = 1000}),
                 u"What was downloaded cannot be unpacked: what it holds is larger than it may be."_s);
    }

    void archivesThatAreBrokenAreRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("this is no archive at all");
        QTest::newRow("a page") << QByteArray("<html>404</html>");
        QByteArray noise(100000, '\0');
        for (char &byte : noise)
            byte = static_cast<char>(std::rand());
        const QByteArray whole = test::packed({{"a", noise}});
        QTest::newRow("broken off") << whole.left(whole.size() / 2);
        QByteArray flipped = whole;
        flipped[whole.size() / 2] = static_cast<char>(~flipped.at(whole.size() / 2));
        QTest::newRow("flipped") << flipped;
    }
    void archivesThatAreBrokenAreRefused() {
        QFETCH(const QByteArray, bytes);
        QCOMPARE(faultOf(bytes), u"What was downloaded cannot be unpacked: it is damaged."_s);
    }

    void aGzipFileIsUnpacked() {
        QCOMPARE(gzipFaultOf(test::gzipped("contents")), QString());
        QCOMPARE(test::readFile(m_home->filePath(u"deep/folder/out"_s)), "contents");
    }

    void whatIsNoGzipFileIsRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("plain") << QByteArray("plain");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("broken off") << test::gzipped(QByteArray(1000, 'a')).left(20);
    }
    void whatIsNoGzipFileIsRefused() {
        QFETCH(const QByteArray, bytes);
        QCOMPARE(gzipFaultOf(bytes), u"What was downloaded cannot be unpacked: it is damaged."_s);
    }

    void nothingIsWrittenOverAFileThatIsThere() {
        test::writeFile(m_home->filePath(u"deep/folder/a"_s), "mine");
        QCOMPARE(faultOf(test::packed({{"a", "theirs"}})), u"\"a\" could not be written: File exists."_s);
        QCOMPARE(test::readFile(m_home->filePath(u"deep/folder/a"_s)), "mine");
    }

    void workThatIsNotWantedAnyMoreEnds() {
        const QString path = m_home->filePath(u"packed"_s);
        test::writeFile(path, test::packed({{"a", "x"}}));
        QVERIFY_THROWS_EXCEPTION(
            platform::Interruption,
            platform::unpackArchive(path, m_home->filePath(u"deep/folder"_s), {}, [] { return true; }));
    }

private:
    template <typename Work>
    QString faultIn(const QByteArray &bytes, const Work &work) const {
        const QString path = m_home->filePath(u"packed"_s);
        test::writeFile(path, bytes);
        QString fault;
        try {
            work(path);
        } catch (const platform::ModelFault &error) {
            fault = error.errorDescription();
        }
        QFile::remove(path);
        return fault;
    }
    QString faultOf(const QByteArray &bytes, const UnpackingLimits &limits = {}) const {
        return faultIn(bytes, [&](const QString &path) {
            platform::unpackArchive(path, m_home->filePath(u"deep/folder"_s), limits, wanted);
        });
    }
    QString gzipFaultOf(const QByteArray &bytes) const {
        return faultIn(bytes, [&](const QString &path) {
            platform::unpackGzip(path, m_home->filePath(u"deep/folder/out"_s), {}, wanted);
        });
    }

    /// Everything that is no folder.
    QStringList files() const {
        QStringList found;
        QDirIterator all(m_home->path(),
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
        while (all.hasNext()) {
            const QFileInfo info(all.next());
            if (!info.isDir() || info.isSymLink())
                found += QDir(m_home->path()).relativeFilePath(info.filePath());
        }
        found.sort();
        return found;
    }

    std::unique_ptr<QTemporaryDir> m_home;
};

QTEST_GUILESS_MAIN(UnpackingTest)
#include "UnpackingTest.moc"
