#include "platform/linux/recognition/JoinedTexts.h"

#include <QTest>

using quillora::platform::joinTexts;

class JoinedTextsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void textsAreJoinedAsTheirWritingDoes_data() {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("joined");
        QTest::newRow("English") << u"He was."_qs << u"Not ill"_qs << u"He was. Not ill"_qs;
        QTest::newRow("Russian") << u"он был"_qs << u"болен"_qs << u"он был болен"_qs;
        QTest::newRow("Arabic") << u"كان"_qs << u"مريضا"_qs << u"كان مريضا"_qs;
        QTest::newRow("Korean") << u"그는"_qs << u"아팠다"_qs << u"그는 아팠다"_qs;
        QTest::newRow("Vietnamese") << u"anh ấy"_qs << u"bị ốm"_qs << u"anh ấy bị ốm"_qs;
        QTest::newRow("Chinese") << u"他病了"_qs << u"没有"_qs << u"他病了没有"_qs;
        QTest::newRow("Chinese, sentences") << u"他病了。"_qs << u"没有"_qs << u"他病了。没有"_qs;
        QTest::newRow("Chinese, an English word") << u"我用"_qs << u"Linux"_qs << u"我用Linux"_qs;
        QTest::newRow("Chinese, two English words")
            << u"我用Linux"_qs << u"and Qt"_qs << u"我用Linux and Qt"_qs;
        QTest::newRow("Chinese, rare letters")
            << u"\U00020000"_qs << u"\U00020001"_qs << u"\U00020000\U00020001"_qs;
        QTest::newRow("Japanese") << u"彼は"_qs << u"ビョウキ"_qs << u"彼はビョウキ"_qs;
        QTest::newRow("Japanese, a question") << u"病気か？"_qs << u"A"_qs << u"病気か？A"_qs;
        QTest::newRow("Thai") << u"เขา"_qs << u"ป่วย"_qs << u"เขาป่วย"_qs;
        QTest::newRow("nothing before") << QString() << u"he"_qs << u"he"_qs;
        QTest::newRow("nothing after") << u"he"_qs << QString() << u"he"_qs;
    }
    void textsAreJoinedAsTheirWritingDoes() {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QTEST(joinTexts(first, second), "joined");
    }
};

QTEST_APPLESS_MAIN(JoinedTextsTest)
#include "JoinedTextsTest.moc"
