#include "platform/linux/translation/apertium/ApertiumSpelling.h"

#include <QTest>

using namespace Qt::StringLiterals;
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
    QTest::newRow("English") << u"en"_s << u"i think i'm late"_s << u"I think I'm late"_s;
    QTest::newRow("abbreviation") << u"en"_s << u"i.e. this"_s << u"i.e. this"_s;
    QTest::newRow("another language") << u"it"_s << u"i gatti"_s << u"i gatti"_s;
}

void ApertiumSpellingTest::theEnglishPronounIsWrittenLarge() {
    QFETCH(const QString, language);
    QFETCH(const QString, passage);
    QTEST(spelledForApertium(passage, language), "spelled");
}

void ApertiumSpellingTest::theSpaceOfADroppedWordGoes() {
    QCOMPARE(spelledLikePassage(u" Quiero.  Voy."_s, u"I want. I go."_s, u"es"_s), u"Quiero. Voy."_s);
}

void ApertiumSpellingTest::spacesThatWereThereBeforeStay() {
    QCOMPARE(spelledLikePassage(u"uno  dos"_s, u"one  two"_s, u"es"_s), u"uno  dos"_s);
}

void ApertiumSpellingTest::theFirstLetterKeepsItsCase_data() {
    QTest::addColumn<QString>("passage");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("translation");
    QTest::addColumn<QString>("result");
    QTest::newRow("small") << u"i want"_s << u"es"_s << u"Quiero"_s << u"quiero"_s;
    QTest::newRow("capital") << u"I want"_s << u"es"_s << u"Quiero"_s << u"Quiero"_s;
    QTest::newRow("abbreviation") << u"the usa"_s << u"es"_s << u"EE.UU."_s << u"EE.UU."_s;
    QTest::newRow("initial") << u"the j"_s << u"es"_s << u"J. Bach"_s << u"J. Bach"_s;
    QTest::newRow("one letter") << u"a"_s << u"es"_s << u"Y"_s << u"y"_s;
    QTest::newRow("no letter") << u"\"one\""_s << u"es"_s << u"\"Uno\""_s << u"\"Uno\""_s;
    QTest::newRow("a German noun") << u"casas grandes"_s << u"de"_s << u"H\u00e4user"_s << u"H\u00e4user"_s;
    QTest::newRow("the English pronoun") << u"quiero"_s << u"en"_s << u"I want"_s << u"I want"_s;
    QTest::newRow("its short form") << u"soy"_s << u"en"_s << u"I'm"_s << u"I'm"_s;
    QTest::newRow("another word with that letter") << u"es"_s << u"en"_s << u"It is"_s << u"it is"_s;
    QTest::newRow("nothing") << u"one"_s << u"es"_s << u" "_s << QString();
}

void ApertiumSpellingTest::theFirstLetterKeepsItsCase() {
    QFETCH(const QString, passage);
    QFETCH(const QString, language);
    QFETCH(const QString, translation);
    QTEST(spelledLikePassage(translation, passage, language), "result");
}

QTEST_APPLESS_MAIN(ApertiumSpellingTest)
#include "ApertiumSpellingTest.moc"
