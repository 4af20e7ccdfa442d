#include "platform/linux/translation/TextLayout.h"

#include <QTest>

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
    QTest::newRow("one line") << u"one two"_qs << QStringList{u"one two"_qs};
    QTest::newRow("lines") << u"one\ntwo\r\n\nthree\n"_qs << QStringList{u"one"_qs, u"two"_qs, u"three"_qs};
    QTest::newRow("space around") << u" \t one two \n"_qs << QStringList{u"one two"_qs};
    QTest::newRow("one letter") << u" I "_qs << QStringList{u"I"_qs};
    QTest::newRow("NUL") << u"one"_qs + QChar() + u"two"_qs << QStringList{u"one"_qs, u"two"_qs};
    QTest::newRow("line separator") << u"one\u2028two\u2029three"_qs
                                    << QStringList{u"one"_qs, u"two"_qs, u"three"_qs};
    QTest::newRow("punctuation only") << u"***\n...\none"_qs << QStringList{u"one"_qs};
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("blank") << u" \n\t\n"_qs << QStringList();
}

void TextLayoutTest::passagesAreTheLinesWithWords() {
    QFETCH(const QString, text);
    QFETCH(const QStringList, passages);
    QCOMPARE(TextLayout(text).passages(), passages);
}

void TextLayoutTest::whatIsNoPassageStays_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("lines") << u"\n\n one two \n\nthree\r\n"_qs;
    QTest::newRow("punctuation") << u"***\n one ***\n---\n"_qs;
    QTest::newRow("NUL") << QChar() + u"one"_qs + QChar() + QChar() + u"two"_qs + QChar();
    QTest::newRow("blank") << u" \t\n "_qs;
    QTest::newRow("no-break space") << u"\u00a0one\u00a0"_qs;
}

void TextLayoutTest::whatIsNoPassageStays() {
    QFETCH(const QString, text);
    const TextLayout layout(text);
    QCOMPARE(layout.withPassages(layout.passages()), text);
}

void TextLayoutTest::translationsTakeTheirPassagesPlaces() {
    QCOMPARE(TextLayout(u" one\n\ttwo \n"_qs).withPassages({u"uno"_qs, u"dos"_qs}), u" uno\n\tdos \n"_qs);
}

void TextLayoutTest::aPassageWithoutTranslationStays() {
    QCOMPARE(TextLayout(u"one\ntwo"_qs).withPassages({u" "_qs, u"dos"_qs}), u"one\ndos"_qs);
}

QTEST_APPLESS_MAIN(TextLayoutTest)
#include "TextLayoutTest.moc"
