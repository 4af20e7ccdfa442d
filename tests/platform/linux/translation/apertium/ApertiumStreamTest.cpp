#include "platform/linux/translation/apertium/ApertiumStream.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::platform;

/// How text goes into a pipeline and comes out of it.
class ApertiumStreamTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aPieceEndsInAFullStopAMarkAndNul();
    void charactersOfTheStreamFormatAreEscaped();
    void aTildePassesUntouched();
    void aWordTooLongToBeOnePassesUntouched();
    void anAnswerLosesItsMarkAndFullStop();
    void anAnswerWithoutItsFullStopIsTakenAsItIs();
    void onlyTheAddedFullStopIsTaken();
    void anAnswerWithoutItsMarkIsNone_data();
    void anAnswerWithoutItsMarkIsNone();
    void whatGoesInComesOut_data();
    void whatGoesInComesOut();
};

void ApertiumStreamTest::aPieceEndsInAFullStopAMarkAndNul() {
    QCOMPARE(ApertiumStream::encode(u"house"_s), QByteArray("house.[][\n]\0", 12));
}

void ApertiumStreamTest::charactersOfTheStreamFormatAreEscaped() {
    QCOMPARE(ApertiumStream::encode(uR"([]^$/\<>@{})"_s),
             QByteArray(R"(\[\]\^\$\/\\\<\>\@\{\})") + QByteArray(".[][\n]\0", 7));
}

void ApertiumStreamTest::aTildePassesUntouched() {
    QCOMPARE(ApertiumStream::encode(u"a ~~ b"_s), QByteArray("a [~~] b.[][\n]\0", 15));
}

void ApertiumStreamTest::aWordTooLongToBeOnePassesUntouched() {
    const QString longWord(200, u'x');
    QCOMPARE(ApertiumStream::encode(u"a "_s + longWord),
             "a [" + longWord.toUtf8() + "]" + QByteArray(".[][\n]\0", 7));
}

void ApertiumStreamTest::anAnswerLosesItsMarkAndFullStop() {
    QCOMPARE(ApertiumStream::decode("casa.[][\n]"), u"casa"_s);
}

void ApertiumStreamTest::anAnswerWithoutItsFullStopIsTakenAsItIs() {
    QCOMPARE(ApertiumStream::decode("casa[][\n]"), u"casa"_s);
}

void ApertiumStreamTest::onlyTheAddedFullStopIsTaken() {
    QCOMPARE(ApertiumStream::decode("casa..[][\n]"), u"casa."_s);
}

void ApertiumStreamTest::anAnswerWithoutItsMarkIsNone_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut short") << QByteArray("casa.[][");
    QTest::newRow("no mark") << QByteArray("casa.");
}

void ApertiumStreamTest::anAnswerWithoutItsMarkIsNone() {
    QFETCH(const QByteArray, answer);
    QCOMPARE(ApertiumStream::decode(answer), std::nullopt);
}

void ApertiumStreamTest::whatGoesInComesOut_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("plain") << u"The house is big."_s;
    QTest::newRow("brackets") << u"[x] {y} <z> [[a]] ]["_s;
    QTest::newRow("backslashes") << uR"(\ \\ \[ \n)"_s;
    QTest::newRow("tildes in brackets") << u"[~] ~[ ~~"_s;
    QTest::newRow("a long word with brackets") << QString(150, u'[') + QString(150, u'\\');
    QTest::newRow("emoji") << u"\U0001F600 \U0001F468\u200d\U0001F469 \u4e2d"_s;
}

void ApertiumStreamTest::whatGoesInComesOut() {
    QFETCH(const QString, text);
    QCOMPARE(ApertiumStream::decode(ApertiumStream::encode(text).chopped(1)), text);
}

QTEST_APPLESS_MAIN(ApertiumStreamTest)
#include "ApertiumStreamTest.moc"
