#include "platform/linux/translation/TextLayout.h"

#include <QTest>

using namespace Qt::StringLiterals;

using quillora::platform::TextLayout;

/// What of a text is translated, and how it is put together again.
class TextLayoutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void passagesAreTheLinesWithWords_data();
    void passagesAreTheLinesWithWords();
    void whatIsNoPassageStays_data();
    void whatIsNoPassageStays();
    void translationsTakeTheirPassagesPlaces();
    void aPassageWithoutTranslationStays();
};

void TextLayoutTest::passagesAreTheLinesWithWords_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("passages");
    QTest::newRow("one line") << u"one two"_s << QStringList{u"one two"_s};
    QTest::newRow("lines") << u"one\ntwo\r\n\nthree\n"_s << QStringList{u"one"_s, u"two"_s, u"three"_s};
    QTest::newRow("space around") << u" \t one two \n"_s << QStringList{u"one two"_s};
    QTest::newRow("one letter") << u" I "_s << QStringList{u"I"_s};
    QTest::newRow("NUL") << u"one"_s + QChar() + u"two"_s << QStringList{u"one"_s, u"two"_s};
    QTest::newRow("line separator") << u"one\u2028two\u2029three"_s
                                    << QStringList{u"one"_s, u"two"_s, u"three"_s};
    QTest::newRow("punctuation only") << u"***\n...\none"_s << QStringList{u"one"_s};
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("blank") << u" \n\t\n"_s << QStringList();
}

void TextLayoutTest::passagesAreTheLinesWithWords() {
    QFETCH(const QString, text);
    QFETCH(const QStringList, passages);
    QCOMPARE(TextLayout(text).passages(), passages);
}

void TextLayoutTest::whatIsNoPassageStays_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("lines") << u"\n\n one two \n\nthree\r\n"_s;
    QTest::newRow("punctuation") << u"***\n one ***\n---\n"_s;
    QTest::newRow("NUL") << QChar() + u"one"_s + QChar() + QChar() + u"two"_s + QChar();
    QTest::newRow("blank") << u" \t\n "_s;
    QTest::newRow("no-break space") << u"\u00a0one\u00a0"_s;
}

void TextLayoutTest::whatIsNoPassageStays() {
    QFETCH(const QString, text);
    const TextLayout layout(text);
    QCOMPARE(layout.withPassages(layout.passages()), text);
}

void TextLayoutTest::translationsTakeTheirPassagesPlaces() {
    QCOMPARE(TextLayout(u" one\n\ttwo \n"_s).withPassages({u"uno"_s, u"dos"_s}), u" uno\n\tdos \n"_s);
}

void TextLayoutTest::aPassageWithoutTranslationStays() {
    QCOMPARE(TextLayout(u"one\ntwo"_s).withPassages({u" "_s, u"dos"_s}), u"one\ndos"_s);
}

QTEST_APPLESS_MAIN(TextLayoutTest)
#include "TextLayoutTest.moc"
