#include "platform/linux/models/SafePath.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

class SafePathTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pathsBelowTheFolderAreSpeltInOneWay_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << u"model.onnx"_s << u"model.onnx"_s;
        QTest::newRow("deep") << u"a/b/c.txt"_s << u"a/b/c.txt"_s;
        QTest::newRow("here") << u"./a/./b"_s << u"a/b"_s;
        QTest::newRow("hidden") << u".config"_s << u".config"_s;
        QTest::newRow("dots in a name") << u"a..b/c..."_s << u"a..b/c..."_s;
        QTest::newRow("other script") << u"модель.bin"_s << u"модель.bin"_s;
    }
    void pathsBelowTheFolderAreSpeltInOneWay() {
        QFETCH(const QString, path);
        QTEST(platform::safePath(path), "expected");
    }

    void pathsThatMayLeadElsewhereAreRefused_data() {
        QTest::addColumn<QString>("path");
        QTest::newRow("empty") << QString();
        QTest::newRow("nothing but here") << u"."_s;
        QTest::newRow("absolute") << u"/etc/passwd"_s;
        QTest::newRow("upwards") << u"../a"_s;
        QTest::newRow("upwards inside") << u"a/../../b"_s;
        QTest::newRow("upwards at the end") << u"a/.."_s;
        QTest::newRow("backslashes") << u"..\\a"_s;
        QTest::newRow("drive") << u"C:a"_s;
        QTest::newRow("two slashes") << u"a//b"_s;
        QTest::newRow("slash at the end") << u"a/"_s;
        QTest::newRow("NUL") << QString(u"a\0b"_s);
        QTest::newRow("line break") << u"a\nb"_s;
        QTest::newRow("reversed writing") << u"a\u202Etxt"_s;
        QTest::newRow("broken UTF-16") << QString(QChar(0xD800));
        QTest::newRow("long part") << QString(256, u'a');
        QTest::newRow("deep") << u"a/"_s.repeated(16) + u'b';
    }
    void pathsThatMayLeadElsewhereAreRefused() {
        QFETCH(const QString, path);
        QVERIFY(platform::safePath(path).isNull());
    }

    void namesThatSomeFileSystemTakesForOneHaveOneKey_data() {
        QTest::addColumn<QString>("one");
        QTest::addColumn<QString>("other");
        QTest::newRow("case") << u"Model.bin"_s << u"model.BIN"_s;
        QTest::newRow("composed") << u"\u00e9"_s << u"e\u0301"_s;
        QTest::newRow("compatible") << u"\uFB01"_s << u"fi"_s;
        QTest::newRow("sharp s") << u"straße"_s << u"STRASSE"_s;
    }
    void namesThatSomeFileSystemTakesForOneHaveOneKey() {
        QFETCH(const QString, one);
        QFETCH(const QString, other);
        QCOMPARE(platform::twinKey(one), platform::twinKey(other));
    }
};

QTEST_GUILESS_MAIN(SafePathTest)
#include "SafePathTest.moc"
