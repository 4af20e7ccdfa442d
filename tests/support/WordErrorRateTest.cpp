#include "support/WordErrorRate.h"

#include <QTest>

using namespace Qt::StringLiterals;

using quillora::test::WordErrorRate;

class WordErrorRateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyKindOfErrorCounts_data() {
        QTest::addColumn<QString>("transcript");
        QTest::addColumn<QString>("spoken");
        QTest::addColumn<int>("errors");
        QTest::newRow("none") << u"he was young"_s << u"he was young"_s << 0;
        QTest::newRow("left out") << u"he young"_s << u"he was young"_s << 1;
        QTest::newRow("put in") << u"he was so young"_s << u"he was young"_s << 1;
        QTest::newRow("mistaken") << u"he was old"_s << u"he was young"_s << 1;
        QTest::newRow("nothing heard") << QString() << u"he was young"_s << 3;
        QTest::newRow("all in one") << u"so he wasn't"_s << u"he was young"_s << 3;
        QTest::newRow("case and punctuation") << u"He was, Young."_s << u"he was young"_s << 0;
        QTest::newRow("letters of other alphabets") << u"Größe ВЫШЕ naïve"_s << u"größe выше naive"_s << 1;
    }
    void everyKindOfErrorCounts() {
        QFETCH(QString, transcript);
        QFETCH(QString, spoken);
        QFETCH(int, errors);
        QCOMPARE(WordErrorRate::of(transcript, spoken), (WordErrorRate{errors, 3}));
    }

    void inWritingWithoutBlanksACharacterIsAWord() {
        QCOMPARE(WordErrorRate::of(u"我们在这里"_s, u"我们在哪里。"_s), (WordErrorRate{1, 5}));
        QCOMPARE(WordErrorRate::of(u"ดีครบ"_s, u"ดีครับ"_s), (WordErrorRate{1, 6}));
    }

    void theRateIsAShareOfTheSpokenWords() {
        QCOMPARE(WordErrorRate::of(u"he was"_s, u"he was not young"_s).percent(), 50.0);
    }
};

QTEST_GUILESS_MAIN(WordErrorRateTest)
#include "WordErrorRateTest.moc"
