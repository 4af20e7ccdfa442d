#include "platform/linux/models/SafePath.h"

#include <QTest>

using namespace quillora;

class SafePathTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pathsBelowTheFolderAreSpeltInOneWay_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << u"model.onnx"_qs << u"model.onnx"_qs;
        QTest::newRow("deep") << u"a/b/c.txt"_qs << u"a/b/c.txt"_qs;
        QTest::newRow("here") << u"./a/./b"_qs << u"a/b"_qs;
        QTest::newRow("hidden") << u".config"_qs << u".config"_qs;
        QTest::newRow("dots in a name") << u"a..b/c..."_qs << u"a..b/c..."_qs;
        QTest::newRow("other script") << u"модель.bin"_qs << u"модель.bin"_qs;
    }
    void pathsBelowTheFolderAreSpeltInOneWay() {
        QFETCH(const QString, path);
        QTEST(platform::safePath(path), "expected");
    }

    void pathsThatMayLeadElsewhereAreRefused_data() {
        QTest::addColumn<QString>("path");
        QTest::newRow("empty") << QString();
        QTest::newRow("nothing but here") << u"."_qs;
        QTest::newRow("absolute") << u"/etc/passwd"_qs;
        QTest::newRow("upwards") << u"../a"_qs;
        QTest::newRow("upwards inside") << u"a/../../b"_qs;
        QTest::newRow("upwards at the end") << u"a/.."_qs;
        QTest::newRow("backslashes") << u"..\\a"_qs;
        QTest::newRow("drive") << u"C:a"_qs;
        QTest::newRow("two slashes") << u"a//b"_qs;
        QTest::newRow("slash at the end") << u"a/"_qs;
        QTest::newRow("NUL") << QString(u"a\0b"_qs);
        QTest::newRow("line break") << u"a\nb"_qs;
        QTest::newRow("reversed writing") << u"a\u202Etxt"_qs;
        QTest::newRow("broken UTF-16") << QString(QChar(0xD800));
        QTest::newRow("long part") << QString(256, u'a');
        QTest::newRow("deep") << u"a/"_qs.repeated(16) + u'b';
    }
    void pathsThatMayLeadElsewhereAreRefused() {
        QFETCH(const QString, path);
        QVERIFY(platform::safePath(path).isNull());
    }

    void namesThatSomeFileSystemTakesForOneHaveOneKey_data() {
        QTest::addColumn<QString>("one");
        QTest::addColumn<QString>("other");
        QTest::newRow("case") << u"Model.bin"_qs << u"model.BIN"_qs;
        QTest::newRow("composed") << u"\u00e9"_qs << u"e\u0301"_qs;
        QTest::newRow("compatible") << u"\uFB01"_qs << u"fi"_qs;
        QTest::newRow("sharp s") << u"straße"_qs << u"STRASSE"_qs;
    }
    void namesThatSomeFileSystemTakesForOneHaveOneKey() {
        QFETCH(const QString, one);
        QFETCH(const QString, other);
        QCOMPARE(platform::twinKey(one), platform::twinKey(other));
    }
};

QTEST_GUILESS_MAIN(SafePathTest)
#include "SafePathTest.moc"
