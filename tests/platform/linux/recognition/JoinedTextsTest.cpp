#include "platform/linux/recognition/JoinedTexts.h"

#include <QTest>

using namespace Qt::StringLiterals;

using quillora::platform::joinTexts;

class JoinedTextsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void textsAreJoinedAsTheirWritingDoes_data() {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("joined");
        QTest::newRow("English") << u"He was."_s << u"Not ill"_s << u"He was. Not ill"_s;
        QTest::newRow("Russian") << u"он был"_s << u"болен"_s << u"он был болен"_s;
        QTest::newRow("Arabic") << u"كان"_s << u"مريضا"_s << u"كان مريضا"_s;
        QTest::newRow("Korean") << u"그는"_s << u"아팠다"_s << u"그는 아팠다"_s;
        QTest::newRow("Vietnamese") << u"anh ấy"_s << u"bị ốm"_s << u"anh ấy bị ốm"_s;
        QTest::newRow("Chinese") << u"他病了"_s << u"没有"_s << u"他病了没有"_s;
        QTest::newRow("Chinese, sentences") << u"他病了。"_s << u"没有"_s << u"他病了。没有"_s;
        QTest::newRow("Chinese, an English word") << u"我用"_s << u"Linux"_s << u"我用Linux"_s;
        QTest::newRow("Chinese, two English words") << u"我用Linux"_s << u"and Qt"_s << u"我用Linux and Qt"_s;
        QTest::newRow("Chinese, rare letters")
            << u"\U00020000"_s << u"\U00020001"_s << u"\U00020000\U00020001"_s;
        QTest::newRow("Chinese, a rare letter and an English word")
            << u"我用\U00020BB7"_s << u"Linux"_s << u"我用\U00020BB7Linux"_s;
        QTest::newRow("Chinese, an English word and a rare letter")
            << u"Linux"_s << u"\U00020BB7"_s << u"Linux\U00020BB7"_s;
        QTest::newRow("Japanese") << u"彼は"_s << u"ビョウキ"_s << u"彼はビョウキ"_s;
        QTest::newRow("Japanese, a question") << u"病気か？"_s << u"A"_s << u"病気か？A"_s;
        QTest::newRow("Thai") << u"เขา"_s << u"ป่วย"_s << u"เขาป่วย"_s;
        QTest::newRow("nothing before") << QString() << u"he"_s << u"he"_s;
        QTest::newRow("nothing after") << u"he"_s << QString() << u"he"_s;
    }
    void textsAreJoinedAsTheirWritingDoes() {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QTEST(joinTexts(first, second), "joined");
    }
};

QTEST_APPLESS_MAIN(JoinedTextsTest)
#include "JoinedTextsTest.moc"
