#include "platform/linux/translation/apertium/ApertiumSpelling.h"

#include <QTest>

using namespace quillora::platform;

/// Which of the engine's ways with small and large letters are undone, and which are right.
class ApertiumSpellingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theEnglishPronounIsWrittenLarge_data();
    void theEnglishPronounIsWrittenLarge();
    void theSpaceOfADroppedWordGoes();
    void spacesThatWereThereBeforeStay();
    void theFirstLetterKeepsItsCase_data();
    void theFirstLetterKeepsItsCase();
};

void ApertiumSpellingTest::theEnglishPronounIsWrittenLarge_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("passage");
    QTest::addColumn<QString>("spelled");
    QTest::newRow("English") << u"en"_qs << u"i think i'm late"_qs << u"I think I'm late"_qs;
    QTest::newRow("abbreviation") << u"en"_qs << u"i.e. this"_qs << u"i.e. this"_qs;
    QTest::newRow("another language") << u"it"_qs << u"i gatti"_qs << u"i gatti"_qs;
}

void ApertiumSpellingTest::theEnglishPronounIsWrittenLarge() {
    QFETCH(const QString, language);
    QFETCH(const QString, passage);
    QTEST(spelledForApertium(passage, language), "spelled");
}

void ApertiumSpellingTest::theSpaceOfADroppedWordGoes() {
    QCOMPARE(spelledLikePassage(u" Quiero.  Voy."_qs, u"I want. I go."_qs, u"es"_qs), u"Quiero. Voy."_qs);
}

void ApertiumSpellingTest::spacesThatWereThereBeforeStay() {
    QCOMPARE(spelledLikePassage(u"uno  dos"_qs, u"one  two"_qs, u"es"_qs), u"uno  dos"_qs);
}

void ApertiumSpellingTest::theFirstLetterKeepsItsCase_data() {
    QTest::addColumn<QString>("passage");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("translation");
    QTest::addColumn<QString>("result");
    QTest::newRow("small") << u"i want"_qs << u"es"_qs << u"Quiero"_qs << u"quiero"_qs;
    QTest::newRow("capital") << u"I want"_qs << u"es"_qs << u"Quiero"_qs << u"Quiero"_qs;
    QTest::newRow("abbreviation") << u"the usa"_qs << u"es"_qs << u"EE.UU."_qs << u"EE.UU."_qs;
    QTest::newRow("initial") << u"the j"_qs << u"es"_qs << u"J. Bach"_qs << u"J. Bach"_qs;
    QTest::newRow("one letter") << u"a"_qs << u"es"_qs << u"Y"_qs << u"y"_qs;
    QTest::newRow("no letter") << u"\"one\""_qs << u"es"_qs << u"\"Uno\""_qs << u"\"Uno\""_qs;
    QTest::newRow("a German noun") << u"casas grandes"_qs << u"de"_qs << u"H\u00e4user"_qs
                                   << u"H\u00e4user"_qs;
    QTest::newRow("the English pronoun") << u"quiero"_qs << u"en"_qs << u"I want"_qs << u"I want"_qs;
    QTest::newRow("its short form") << u"soy"_qs << u"en"_qs << u"I'm"_qs << u"I'm"_qs;
    QTest::newRow("another word with that letter") << u"es"_qs << u"en"_qs << u"It is"_qs << u"it is"_qs;
    QTest::newRow("nothing") << u"one"_qs << u"es"_qs << u" "_qs << QString();
}

void ApertiumSpellingTest::theFirstLetterKeepsItsCase() {
    QFETCH(const QString, passage);
    QFETCH(const QString, language);
    QFETCH(const QString, translation);
    QTEST(spelledLikePassage(translation, passage, language), "result");
}

QTEST_APPLESS_MAIN(ApertiumSpellingTest)
#include "ApertiumSpellingTest.moc"
