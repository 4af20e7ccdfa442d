#include "platform/linux/translation/neural/Sentences.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::neural;

/// Where sentences end, and where a long one may be cut.
class SentencesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sentencesEndWhereTheirLanguageEndsThem_data();
    void sentencesEndWhereTheirLanguageEndsThem();
    void nothingIsLost_data() { sentencesEndWhereTheirLanguageEndsThem_data(); }
    void nothingIsLost();
    void whatIsNotUtf8IsKept();
    void aLongSentenceIsCutAtTheBestPlaces_data();
    void aLongSentenceIsCutAtTheBestPlaces();
};

void SentencesTest::sentencesEndWhereTheirLanguageEndsThem_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("sentences"); // with a bar where one ends

    QTest::newRow("empty") << u"en"_s << u""_s;
    QTest::newRow("one") << u"en"_s << u"Hello"_s;
    QTest::newRow("two") << u"en"_s << u"It rains.| We stay."_s;
    QTest::newRow("question and exclamation") << u"en"_s << u"Really?| Yes!| Good."_s;
    QTest::newRow("several marks") << u"en"_s << u"What?!| No...| Well."_s;
    QTest::newRow("space at both ends") << u"en"_s << u"|  It rains.|  We stay.| "_s;
    QTest::newRow("line breaks") << u"en"_s << u"one|\ntwo| \r\n\r\n three|\u2028four"_s;
    QTest::newRow("quotes") << u"en"_s << u"He said \"Stop.\"| She said (quietly.)| Then “no.”| End."_s;
    QTest::newRow("quote within a sentence") << u"en"_s << u"\"Stop!\" he said.| He left."_s;
    QTest::newRow("titles") << u"en"_s << u"Dr. Smith met Mrs. Jones.| They spoke."_s;
    QTest::newRow("e.g.") << u"en"_s << u"Pets, e.g. Cats, i.e. animals.| Fine."_s;
    QTest::newRow("initials") << u"en"_s << u"J. S. Bach wrote it.| So do I.| He left."_s;
    QTest::newRow("numbers or no") << u"en"_s << u"He lives at No. 5.| Did he go?| No.| He stays."_s;
    QTest::newRow("U.S.") << u"en"_s << u"The U.S. Army came at 5 p.m. on Monday.| It left."_s;
    QTest::newRow("decimals") << u"en"_s << u"It costs 3.50 dollars.| Pi is 3.14."_s;
    QTest::newRow("addresses") << u"en"_s << u"See example.com and mail a.b@c.org.| Thanks."_s;
    QTest::newRow("list") << u"en"_s << u"1. First.| 2. Second."_s;
    QTest::newRow("year") << u"en"_s << u"It was 1999.| Then it ended."_s;
    QTest::newRow("small letters go on") << u"en"_s << u"Approx. two etc. and more.| Good."_s;
    QTest::newRow("ellipsis goes on") << u"en"_s << u"Well… maybe.| No…| Yes."_s;
    QTest::newRow("small letters far behind")
        << u"en"_s << u"Well.| "_s + QString(64, u'-') + u" maybe.| Good."_s;
    QTest::newRow("small letters on the next line") << u"en"_s << u"Well.| -|\nmaybe.| Good."_s;
    QTest::newRow("small letters only") << u"en"_s << u"i went home.| then i slept.| dr. smith called."_s;
    QTest::newRow("a transcript without marks") << u"en"_s << u"so i went home and then i slept"_s;
    QTest::newRow("opening marks") << u"es"_s << u"¿Qué tal?| ¡Hola!| «Bien.»| Sra. López vino."_s;
    QTest::newRow("ordinals") << u"de"_s << u"Am 3. Oktober war frei.| Im Jahr 1990.| Danach."_s;
    QTest::newRow("German abbreviations")
        << u"de"_s << u"Das ist z.B. Brot, bzw. Wein.| Dr. Maier kam.| „Gut.“| Ja."_s;
    QTest::newRow("French") << u"fr"_s << u"M. Dupont est là.| Où est Mme. Martin ?| « Ici ! »| Bien."_s;
    QTest::newRow("Italian") << u"it"_s << u"Il dott. Rossi è qui.| Bene."_s;
    QTest::newRow("Portuguese") << u"pt"_s << u"O Sr. Silva saiu.| A Dra. Lima ficou."_s;
    QTest::newRow("Dutch") << u"nl"_s << u"Dat is bijv. Brood.| Mevr. Jansen komt."_s;
    QTest::newRow("Polish") << u"pl"_s << u"To np. Warszawa.| Dr. Nowak był 3. Maja."_s;
    QTest::newRow("Russian") << u"ru"_s << u"Это г. Москва.| Ул. Ленина, д. 5.| «Да.»| Нет."_s;
    QTest::newRow("Ukrainian") << u"uk"_s << u"Це Київ і вул. Хрещатик.| Добре."_s;
    QTest::newRow("Turkish") << u"tr"_s << u"Dr. Yılmaz geldi.| 3. Bölüm bitti."_s;
    QTest::newRow("Indonesian") << u"id"_s << u"Dr. Budi datang.| Bagus."_s;
    QTest::newRow("Vietnamese") << u"vi"_s << u"TS. Minh đến.| Tốt lắm!| Vâng."_s;
    QTest::newRow("Korean") << u"ko"_s << u"안녕하세요.| 잘 지내요?| 네!"_s;
    QTest::newRow("Chinese") << u"zh"_s << u"你好。|今天很好！|真的吗？|是的。"_s;
    QTest::newRow("Chinese quotes") << u"zh"_s << u"他说：“走吧。”|\n“好。”他说。|走了。"_s;
    QTest::newRow("Chinese with western marks") << u"zh"_s << u"真的吗?|是的!|版本3.5好。|完"_s;
    QTest::newRow("Japanese") << u"ja"_s << u"こんにちは。|元気ですか？|はい！"_s;
    QTest::newRow("Japanese quote goes on") << u"ja"_s << u"「はい。」と言った。|終わり。"_s;
    QTest::newRow("half width") << u"ja"_s << u"ﾊｲ｡|ｲｲｴ｡"_s;
    QTest::newRow("Thai") << u"th"_s << u"สวัสดีครับ วันนี้อากาศดี"_s;
    QTest::newRow("Thai abbreviations") << u"th"_s << u"ปี พ.ศ. 2560 ดีมาก!| ใช่"_s;
    QTest::newRow("Arabic") << u"ar"_s << u"كيف حالك؟| أنا بخير.| شكرا!"_s;
    QTest::newRow("Urdu full stop") << u"ar"_s << u"نعم۔| لا"_s;
    QTest::newRow("emoji") << u"en"_s << u"Great.| 😀 Thanks!| Bye"_s;
    QTest::newRow("no language") << u""_s << u"One.| Two."_s;
}

namespace {

QString toQString(std::string_view text) { return QString::fromUtf8(text.data(), qsizetype(text.size())); }

} // namespace

void SentencesTest::sentencesEndWhereTheirLanguageEndsThem() {
    QFETCH(const QString, language);
    QFETCH(const QString, sentences);
    const std::string text = QString(sentences).remove(u'|').toStdString();
    QString shown;
    const std::vector<Sentence> all = sentencesOf(text, language.toStdString());
    for (const Sentence &sentence : all) {
        const bool isLast = &sentence == &all.back();
        shown += toQString(sentence.text) + (isLast && sentence.space.empty() ? u""_s : u"|"_s) +
                 toQString(sentence.space);
    }
    QCOMPARE(shown, sentences);
}

void SentencesTest::nothingIsLost() {
    QFETCH(const QString, language);
    QFETCH(const QString, sentences);
    const std::string text = sentences.toStdString();
    std::string again;
    for (const Sentence &sentence : sentencesOf(text, language.toStdString()))
        again += std::string(sentence.text) + std::string(sentence.space);
    QCOMPARE(again, text);
}

void SentencesTest::whatIsNotUtf8IsKept() {
    const std::string text = "a\xFF\xFE. B\xE2\x82. \xC3";
    std::string again;
    for (const Sentence &sentence : sentencesOf(text, "en"))
        again += std::string(sentence.text) + std::string(sentence.space);
    QCOMPARE(again, text);
}

void SentencesTest::aLongSentenceIsCutAtTheBestPlaces_data() {
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("sentence"); // before the best places a bar
    QTest::newRow("comma") << u"en"_s << u"one two, |three four"_s;
    QTest::newRow("conjunction") << u"en"_s << u"one two |because three |and four"_s;
    QTest::newRow("comma before conjunction") << u"de"_s << u"eins zwei, |weil drei vier"_s;
    QTest::newRow("Chinese comma") << u"zh"_s << u"今天天气，|我们走"_s;
    QTest::newRow("Chinese conjunction") << u"zh"_s << u"今天下雨|所以我们走"_s;
    QTest::newRow("Arabic comma") << u"ar"_s << u"واحد، |اثنان"_s;
    QTest::newRow("Thai conjunction") << u"th"_s << u"ฝนตก|แต่เราไป"_s;
}

void SentencesTest::aLongSentenceIsCutAtTheBestPlaces() {
    QFETCH(const QString, language);
    QFETCH(const QString, sentence);
    std::string text = QString(sentence).remove(u'|').toStdString();
    std::vector<CutPlace> places = cutPlacesOf(text, language.toStdString());
    std::erase_if(places,
                  [](const CutPlace &place) { return place.quality == CutPlace::Quality::BetweenWords; });
    for (auto place = places.rbegin(); place != places.rend(); ++place)
        text.insert(place->offset, "|");
    QCOMPARE(QString::fromStdString(text), sentence);
}

QTEST_GUILESS_MAIN(SentencesTest)
#include "SentencesTest.moc"
