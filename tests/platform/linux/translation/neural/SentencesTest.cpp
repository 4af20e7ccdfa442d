#include "platform/linux/translation/neural/Sentences.h"

#include <QTest>

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

    QTest::newRow("empty") << u"en"_qs << u""_qs;
    QTest::newRow("one") << u"en"_qs << u"Hello"_qs;
    QTest::newRow("two") << u"en"_qs << u"It rains.| We stay."_qs;
    QTest::newRow("question and exclamation") << u"en"_qs << u"Really?| Yes!| Good."_qs;
    QTest::newRow("several marks") << u"en"_qs << u"What?!| No...| Well."_qs;
    QTest::newRow("space at both ends") << u"en"_qs << u"|  It rains.|  We stay.| "_qs;
    QTest::newRow("line breaks") << u"en"_qs << u"one|\ntwo| \r\n\r\n three|\u2028four"_qs;
    QTest::newRow("quotes") << u"en"_qs << u"He said \"Stop.\"| She said (quietly.)| Then “no.”| End."_qs;
    QTest::newRow("quote within a sentence") << u"en"_qs << u"\"Stop!\" he said.| He left."_qs;
    QTest::newRow("titles") << u"en"_qs << u"Dr. Smith met Mrs. Jones.| They spoke."_qs;
    QTest::newRow("e.g.") << u"en"_qs << u"Pets, e.g. Cats, i.e. animals.| Fine."_qs;
    QTest::newRow("initials") << u"en"_qs << u"J. S. Bach wrote it.| So do I.| He left."_qs;
    QTest::newRow("numbers or no") << u"en"_qs << u"He lives at No. 5.| Did he go?| No.| He stays."_qs;
    QTest::newRow("U.S.") << u"en"_qs << u"The U.S. Army came at 5 p.m. on Monday.| It left."_qs;
    QTest::newRow("decimals") << u"en"_qs << u"It costs 3.50 dollars.| Pi is 3.14."_qs;
    QTest::newRow("addresses") << u"en"_qs << u"See example.com and mail a.b@c.org.| Thanks."_qs;
    QTest::newRow("list") << u"en"_qs << u"1. First.| 2. Second."_qs;
    QTest::newRow("year") << u"en"_qs << u"It was 1999.| Then it ended."_qs;
    QTest::newRow("small letters go on") << u"en"_qs << u"Approx. two etc. and more.| Good."_qs;
    QTest::newRow("ellipsis goes on") << u"en"_qs << u"Well… maybe.| No…| Yes."_qs;
    QTest::newRow("small letters only") << u"en"_qs << u"i went home.| then i slept.| dr. smith called."_qs;
    QTest::newRow("a transcript without marks") << u"en"_qs << u"so i went home and then i slept"_qs;
    QTest::newRow("opening marks") << u"es"_qs << u"¿Qué tal?| ¡Hola!| «Bien.»| Sra. López vino."_qs;
    QTest::newRow("ordinals") << u"de"_qs << u"Am 3. Oktober war frei.| Im Jahr 1990.| Danach."_qs;
    QTest::newRow("German abbreviations")
        << u"de"_qs << u"Das ist z.B. Brot, bzw. Wein.| Dr. Maier kam.| „Gut.“| Ja."_qs;
    QTest::newRow("French") << u"fr"_qs << u"M. Dupont est là.| Où est Mme. Martin ?| « Ici ! »| Bien."_qs;
    QTest::newRow("Italian") << u"it"_qs << u"Il dott. Rossi è qui.| Bene."_qs;
    QTest::newRow("Portuguese") << u"pt"_qs << u"O Sr. Silva saiu.| A Dra. Lima ficou."_qs;
    QTest::newRow("Dutch") << u"nl"_qs << u"Dat is bijv. Brood.| Mevr. Jansen komt."_qs;
    QTest::newRow("Polish") << u"pl"_qs << u"To np. Warszawa.| Dr. Nowak był 3. Maja."_qs;
    QTest::newRow("Russian") << u"ru"_qs << u"Это г. Москва.| Ул. Ленина, д. 5.| «Да.»| Нет."_qs;
    QTest::newRow("Ukrainian") << u"uk"_qs << u"Це Київ і вул. Хрещатик.| Добре."_qs;
    QTest::newRow("Turkish") << u"tr"_qs << u"Dr. Yılmaz geldi.| 3. Bölüm bitti."_qs;
    QTest::newRow("Indonesian") << u"id"_qs << u"Dr. Budi datang.| Bagus."_qs;
    QTest::newRow("Vietnamese") << u"vi"_qs << u"TS. Minh đến.| Tốt lắm!| Vâng."_qs;
    QTest::newRow("Korean") << u"ko"_qs << u"안녕하세요.| 잘 지내요?| 네!"_qs;
    QTest::newRow("Chinese") << u"zh"_qs << u"你好。|今天很好！|真的吗？|是的。"_qs;
    QTest::newRow("Chinese quotes") << u"zh"_qs << u"他说：“走吧。”|\n“好。”他说。|走了。"_qs;
    QTest::newRow("Chinese with western marks") << u"zh"_qs << u"真的吗?|是的!|版本3.5好。|完"_qs;
    QTest::newRow("Japanese") << u"ja"_qs << u"こんにちは。|元気ですか？|はい！"_qs;
    QTest::newRow("Japanese quote goes on") << u"ja"_qs << u"「はい。」と言った。|終わり。"_qs;
    QTest::newRow("half width") << u"ja"_qs << u"ﾊｲ｡|ｲｲｴ｡"_qs;
    QTest::newRow("Thai") << u"th"_qs << u"สวัสดีครับ วันนี้อากาศดี"_qs;
    QTest::newRow("Thai abbreviations") << u"th"_qs << u"ปี พ.ศ. 2560 ดีมาก!| ใช่"_qs;
    QTest::newRow("Arabic") << u"ar"_qs << u"كيف حالك؟| أنا بخير.| شكرا!"_qs;
    QTest::newRow("Urdu full stop") << u"ar"_qs << u"نعم۔| لا"_qs;
    QTest::newRow("emoji") << u"en"_qs << u"Great.| 😀 Thanks!| Bye"_qs;
    QTest::newRow("no language") << u""_qs << u"One.| Two."_qs;
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
        shown += toQString(sentence.text) + (isLast && sentence.space.empty() ? u""_qs : u"|"_qs) +
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
    QTest::newRow("comma") << u"en"_qs << u"one two, |three four"_qs;
    QTest::newRow("conjunction") << u"en"_qs << u"one two |because three |and four"_qs;
    QTest::newRow("comma before conjunction") << u"de"_qs << u"eins zwei, |weil drei vier"_qs;
    QTest::newRow("Chinese comma") << u"zh"_qs << u"今天天气，|我们走"_qs;
    QTest::newRow("Chinese conjunction") << u"zh"_qs << u"今天下雨|所以我们走"_qs;
    QTest::newRow("Arabic comma") << u"ar"_qs << u"واحد، |اثنان"_qs;
    QTest::newRow("Thai conjunction") << u"th"_qs << u"ฝนตก|แต่เราไป"_qs;
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
