#include "platform/linux/translation/neural/Passages.h"
#include "platform/linux/translation/neural/Stopped.h"
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <QRegularExpression>
#include <QTest>

#include <set>
#include <sstream>

using namespace Qt::StringLiterals;
using namespace quillora::neural;
using namespace quillora::test;

/// What of a text a model gets to see, and how the text is put together again.
class PassagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sentencesBecomePassages_data();
    void sentencesBecomePassages();
    void picturesThatTheVocabularyKnowsAreNotTheModels_data();
    void picturesThatTheVocabularyKnowsAreNotTheModels();
    void translationsTakeTheirPlaces_data();
    void translationsTakeTheirPlaces();
    void aPassageWithoutTranslationStays();
    void everyTextPassesWhole_data();
    void everyTextPassesWhole();
    void speechWithoutMarksIsCutBetweenWords();
    void speechWithoutMarksIsCutBeforeAConjunction();
    void aLongTranscriptIsCutBetweenWords_data();
    void aLongTranscriptIsCutBetweenWords();
    void aWordWithoutEndIsCut();
    void noPassageIsTooLong();
    void aStopIsObeyed();
};

namespace {

const std::string wordBegin = "\u2581";

/// Letters, digits and marks of Latin, each a token, and words that are one.
Vocabulary letters(const std::vector<std::string> &words = {}, const std::set<std::string> &pictures = {}) {
    std::vector<VocabularyPiece> pieces{{"</s>", 0, 3}, {"<unk>", 0, 2}, {wordBegin}};
    for (char letter = '!'; letter <= '~'; ++letter)
        pieces.push_back({{letter}});
    for (const std::string &word : words)
        pieces.push_back({wordBegin + word});
    for (const std::string &picture : pictures)
        pieces.push_back({picture});
    std::istringstream in(vocabularyFile(pieces));
    return Vocabulary(in);
}

QStringList passagesOf(const Passages &passages, const Vocabulary &vocabulary) {
    QStringList list;
    for (const Tokens &source : passages.sources())
        list.push_back(QString::fromStdString(vocabulary.decode(source)));
    return list;
}

} // namespace

void PassagesTest::sentencesBecomePassages_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("passages");
    QTest::newRow("empty") << u""_s << QStringList();
    QTest::newRow("space") << u" \n\t"_s << QStringList();
    QTest::newRow("sentences") << u"One. Two!\nThree"_s << QStringList{u"One."_s, u"Two!"_s, u"Three"_s};
    QTest::newRow("case and marks stay") << u"so i Said, OK (yes)"_s << QStringList{u"so i Said, OK (yes)"_s};
    QTest::newRow("no letters") << u"42. *** \n --- 3.14"_s << QStringList();
    QTest::newRow("emoji behind") << u"Good \U0001F600"_s << QStringList{u"Good"_s};
    QTest::newRow("emoji between") << u"Good \U0001F600\U0001F44D\U0001F3FD. Bye"_s
                                   << QStringList{u"Good"_s, u"Bye"_s};
    QTest::newRow("a word in other letters") << u"Say Привет now"_s << QStringList{u"Say"_s, u"now"_s};
    QTest::newRow("a name with a letter") << u"Mr Erdős came"_s << QStringList{u"Mr"_s, u"came"_s};
    QTest::newRow("an unknown mark is the model's")
        << u"yes – no"_s << QStringList{QString::fromUtf8("yes \u2047 no")};
}

void PassagesTest::sentencesBecomePassages() {
    QFETCH(const QString, text);
    QFETCH(const QStringList, passages);
    const Vocabulary vocabulary = letters();
    QStringList actual = passagesOf(Passages(text.toStdString(), {"en", "de"}, vocabulary), vocabulary);
    for (QString &passage : actual)
        passage = passage.simplified();
    QCOMPARE(actual, passages);
}

void PassagesTest::picturesThatTheVocabularyKnowsAreNotTheModels_data() {
    QTest::addColumn<QString>("picture");
    QTest::newRow("one") << u"\U0001F600"_s;
    QTest::newRow("with a skin tone") << u"\U0001F44D\U0001F3FD"_s;
    QTest::newRow("joined") << u"\U0001F468\u200D\U0001F469\u200D\U0001F467"_s;
    QTest::newRow("joined to a sign") << u"\U0001F469\u200D\u2695\uFE0F"_s;
    QTest::newRow("a flag") << u"\U0001F1E9\U0001F1EA"_s;
}

/// Translations of them are mostly others.
void PassagesTest::picturesThatTheVocabularyKnowsAreNotTheModels() {
    QFETCH(const QString, picture);
    std::set<std::string> characters;
    for (const char32_t character : picture.toUcs4())
        characters.insert(QString::fromUcs4(&character, 1).toStdString());
    const Passages passages(u"So %1 be it"_s.arg(picture).toStdString(), {"en", "de"},
                            letters({}, characters));
    QCOMPARE(passages.sources().size(), std::size_t(2));
    QCOMPARE(QString::fromStdString(passages.joined(std::vector<std::string>{"A", "B"})),
             u"A %1 B"_s.arg(picture));
}

void PassagesTest::translationsTakeTheirPlaces_data() {
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("translations");
    QTest::addColumn<QString>("result");
    QTest::newRow("space stays") << u"de"_s << u" One.\n\n Two.\tThree "_s
                                 << QStringList{u"A."_s, u"B."_s, u"C"_s} << u" A.\n\n B.\tC "_s;
    QTest::newRow("no space in Chinese") << u"zh"_s << u"One. Two.\nThree"_s
                                         << QStringList{u"一。"_s, u"二。"_s, u"三"_s} << u"一。二。\n三"_s;
    QTest::newRow("emoji stay") << u"de"_s << u"One \U0001F600. Two"_s << QStringList{u"A"_s, u"B"_s}
                                << u"A \U0001F600. B"_s;
}

void PassagesTest::translationsTakeTheirPlaces() {
    QFETCH(const QString, target);
    QFETCH(const QString, text);
    QFETCH(const QStringList, translations);
    QFETCH(const QString, result);
    const Passages passages(text.toStdString(), {"en", target.toStdString()}, letters());
    std::vector<std::string> list;
    for (const QString &translation : translations)
        list.push_back(translation.toStdString());
    QCOMPARE(passages.sources().size(), list.size());
    QCOMPARE(QString::fromStdString(passages.joined(list)), result);
}

void PassagesTest::aPassageWithoutTranslationStays() {
    const Passages passages("One. Two.", {"en", "de"}, letters());
    QCOMPARE(passages.joined(std::vector<std::string>{"", "Zwei."}), std::string("One. Zwei."));
}

void PassagesTest::everyTextPassesWhole_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("Russian") << u"Привет, как дела? Хорошо."_s;
    QTest::newRow("Chinese") << u"你好。今天很好！"_s;
    QTest::newRow("Thai") << u"สวัสดีครับ วันนี้อากาศดี"_s;
    QTest::newRow("Arabic") << u"كيف حالك؟ أنا بخير."_s;
    QTest::newRow("flags and families")
        << u"\U0001F1E9\U0001F1EA \U0001F468\u200D\U0001F469\u200D\U0001F467 \u2764\uFE0F"_s;
    QTest::newRow("numbers") << u"1.234,56 \u20AC (50 %)"_s;
    QTest::newRow("private and unassigned") << u"\uE000 \U000E0FFF"_s;
}

/// For a model that has none of its letters.
void PassagesTest::everyTextPassesWhole() {
    QFETCH(const QString, text);
    const Passages passages(text.toStdString(), {"en", "de"}, letters());
    QCOMPARE(passages.sources().size(), std::size_t(0));
    QCOMPARE(QString::fromStdString(passages.joined({})), text);
}

void PassagesTest::speechWithoutMarksIsCutBetweenWords() {
    const Vocabulary vocabulary = letters({"word"});
    std::string text;
    for (int i = 0; i < 250; ++i)
        text += i == 0 ? "word" : " word";
    const Passages passages(text, {"en", "de"}, vocabulary);
    QCOMPARE(passages.sources().size(), std::size_t(3));
    std::vector<std::string> same;
    for (const Tokens &source : passages.sources())
        same.push_back(vocabulary.decode(source));
    QCOMPARE(passages.joined(same), text);
}

void PassagesTest::speechWithoutMarksIsCutBeforeAConjunction() {
    const Vocabulary vocabulary = letters({"word", "because"});
    std::string text;
    for (int i = 0; i < 150; ++i)
        text += std::string(i == 0 ? "" : " ") + (i == 60 ? "because" : "word");
    const Passages passages(text, {"en", "de"}, vocabulary);
    QCOMPARE(passages.sources().size(), std::size_t(2));
    QCOMPARE(passages.sources()[0].size(), std::size_t(61)); // and the token that ends it
    QVERIFY(vocabulary.decode(passages.sources()[1]).starts_with("because word"));
}

void PassagesTest::aLongTranscriptIsCutBetweenWords_data() {
    QTest::addColumn<std::string>("target");
    QTest::addColumn<QString>("word");
    QTest::newRow("white space") << std::string("de") << u"words "_s;
    QTest::newRow("hyphens") << std::string("zh") << u"words-"_s;
}

/// One of 20 KB, without a mark.
void PassagesTest::aLongTranscriptIsCutBetweenWords() {
    QFETCH(const std::string, target);
    QFETCH(const QString, word);
    const Vocabulary vocabulary = letters();
    const std::string text = word.repeated(20000 / word.size()).toStdString();
    const Passages passages(text, {"en", target}, vocabulary);
    static const QRegularExpression wholeWords(u"^words([ -]words)*-?$"_s);
    std::vector<std::string> same;
    for (const Tokens &source : passages.sources()) {
        same.push_back(vocabulary.decode(source));
        QVERIFY2(wholeWords.match(QString::fromStdString(same.back())).hasMatch(), same.back().c_str());
    }
    QCOMPARE(passages.joined(same), text);
}

void PassagesTest::aWordWithoutEndIsCut() {
    const Vocabulary vocabulary = letters();
    const std::string text(100000, 'x');
    const Passages passages(text, {"en", "zh"}, vocabulary);
    QVERIFY(passages.sources().size() > 1000);
    std::vector<std::string> same;
    for (const Tokens &source : passages.sources())
        same.push_back(vocabulary.decode(source));
    QCOMPARE(passages.joined(same), text);
}

void PassagesTest::noPassageIsTooLong() {
    const Vocabulary vocabulary = letters({"and"});
    RandomNumbers random(1);
    static constexpr std::string_view parts[] = {"and", " ", " ",  "x",          ",",   ". ",
                                                 "\n",  "é", "你", "\U0001F600", "\xFF"};
    for (int i = 0; i < 200; ++i) {
        std::string text;
        for (std::size_t length = random.below(2000); text.size() < length;)
            text += parts[random.below(std::size(parts))];
        const Passages passages(text, {"en", "de"}, vocabulary);
        std::vector<std::string> none(passages.sources().size());
        QCOMPARE(passages.joined(none).size() >= text.size(), true);
        for (const Tokens &source : passages.sources())
            QVERIFY(source.size() <= Passages::longest);
    }
}

void PassagesTest::aStopIsObeyed() {
    std::stop_source stop;
    stop.request_stop();
    QVERIFY_THROWS_EXCEPTION(Stopped, Passages("one", {"en", "de"}, letters(), stop.get_token()));
}

QTEST_GUILESS_MAIN(PassagesTest)
#include "PassagesTest.moc"
