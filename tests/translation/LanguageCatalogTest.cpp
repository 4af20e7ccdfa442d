#include "translation/LanguageCatalog.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationEngine.h"

#include <QTest>

using namespace quillora;

namespace {

SpokenLanguageOption spoken(const QString &id, const QString &language) { return {id, id, {}, language}; }

QStringList ids(const QList<SpokenLanguageOption> &options) {
    QStringList ids;
    for (const auto &option : options)
        ids += option.id;
    return ids;
}

/// A desktop where every locale is German and lies in one region.
struct GermanPlatform : test::FakePlatform {
    class Parser : public test::FakeLocaleServices {
    public:
        Components components(const QString &) const override { return {u"de"_qs, region}; }
        QString region;
    } parser;

    platform::LocaleServices &localeServices() override { return parser; }
};

QString flagOf(const QString &identifier, test::FakePlatform &platform) {
    platform.speech.locales = {identifier};
    return LanguageCatalog::spokenOptions().value(0).flag;
}

} // namespace

Q_DECLARE_METATYPE(QString SpokenLanguageOption::*)
Q_DECLARE_METATYPE(QString TranslationLanguageOption::*)

class LanguageCatalogTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<test::FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    void targetsStandInTheirFixedOrder() {
        const QList<std::tuple<QString, QString, QString>> rows{
            {u"ru"_qs, u"Russian"_qs, u"🇷🇺"_qs},    {u"en"_qs, u"English"_qs, u"🇺🇸"_qs},
            {u"kk"_qs, u"Kazakh"_qs, u"🇰🇿"_qs},     {u"uz"_qs, u"Uzbek"_qs, u"🇺🇿"_qs},
            {u"ky"_qs, u"Kyrgyz"_qs, u"🇰🇬"_qs},     {u"ar"_qs, u"Arabic"_qs, u"🇸🇦"_qs},
            {u"zh"_qs, u"Chinese"_qs, u"🇨🇳"_qs},    {u"nl"_qs, u"Dutch"_qs, u"🇳🇱"_qs},
            {u"es"_qs, u"Spanish"_qs, u"🇪🇸"_qs},    {u"fr"_qs, u"French"_qs, u"🇫🇷"_qs},
            {u"de"_qs, u"German"_qs, u"🇩🇪"_qs},     {u"id"_qs, u"Indonesian"_qs, u"🇮🇩"_qs},
            {u"it"_qs, u"Italian"_qs, u"🇮🇹"_qs},    {u"ja"_qs, u"Japanese"_qs, u"🇯🇵"_qs},
            {u"ko"_qs, u"Korean"_qs, u"🇰🇷"_qs},     {u"pl"_qs, u"Polish"_qs, u"🇵🇱"_qs},
            {u"pt"_qs, u"Portuguese"_qs, u"🇧🇷"_qs}, {u"th"_qs, u"Thai"_qs, u"🇹🇭"_qs},
            {u"tr"_qs, u"Turkish"_qs, u"🇹🇷"_qs},    {u"uk"_qs, u"Ukrainian"_qs, u"🇺🇦"_qs},
            {u"vi"_qs, u"Vietnamese"_qs, u"🇻🇳"_qs}};
        QCOMPARE(LanguageCatalog::targets().size(), rows.size());
        for (qsizetype i = 0; i < rows.size(); ++i) {
            const auto &[id, name, flag] = rows[i];
            QCOMPARE(LanguageCatalog::targets()[i], (TranslationLanguageOption{id, name, flag}));
        }
    }

    void aLocaleWhoseLanguageIsNoTargetIsNeverListed() {
        m_platform->speech.locales = {u"sv-SE"_qs, u"en-US"_qs};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), QStringList{u"en-US"_qs});
    }

    void americanEnglishLeadsAndBritishIsSortedByName() {
        m_platform->speech.locales = {u"nl-NL"_qs, u"en-GB"_qs, u"en-AU"_qs,
                                      u"ru-RU"_qs, u"en-US"_qs, u"es-ES"_qs};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()),
                 (QStringList{u"en-US"_qs, u"ru-RU"_qs, u"es-ES"_qs, u"nl-NL"_qs, u"en-AU"_qs, u"en-GB"_qs}));
    }

    void theTwelveCommonLocalesLeadInTheirOrder() {
        const QStringList common{u"en-US"_qs, u"ru-RU"_qs, u"kk-KZ"_qs, u"uz-UZ"_qs,
                                 u"ky-KG"_qs, u"es-ES"_qs, u"fr-FR"_qs, u"de-DE"_qs,
                                 u"it-IT"_qs, u"pt-BR"_qs, u"tr-TR"_qs, u"zh-CN"_qs};
        m_platform->speech.locales = QStringList{u"ar"_qs};
        for (const QString &identifier : common)
            m_platform->speech.locales.prepend(identifier);
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), common + QStringList{u"ar"_qs});
    }

    void equalNamesKeepTheRecognizersOrder() {
        m_platform->locale.displayNames = {{u"en-ZA"_qs, u"english"_qs}, {u"en-IN"_qs, u"ENGLISH"_qs}};
        m_platform->speech.locales = {u"en-ZA"_qs, u"en-IN"_qs};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"en-ZA"_qs, u"en-IN"_qs}));
        m_platform->speech.locales = {u"en-IN"_qs, u"en-ZA"_qs};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"en-IN"_qs, u"en-ZA"_qs}));
    }

    void anOptionBearsItsCapitalizedNameFlagAndLanguage() {
        m_platform->locale.displayNames = {{u"es-MX"_qs, u"español (méxico)"_qs}};
        m_platform->speech.locales = {u"es-MX"_qs};
        QCOMPARE(LanguageCatalog::spokenOptions(),
                 (QList{SpokenLanguageOption{u"es-MX"_qs, u"Español (México)"_qs, u"🇲🇽"_qs, u"es"_qs}}));
    }

    void anIdentifierWithoutADisplayNameNamesItself() {
        m_platform->speech.locales = {u"en-JM"_qs};
        QCOMPARE(LanguageCatalog::spokenOptions().first().name, u"En-Jm"_qs);
    }

    void anIdentifierThatDoesNotParseIsReadByItsFirstPiece() {
        class NoParser : public test::FakeLocaleServices {
            Components components(const QString &) const override { return {}; }
        };
        struct Platform : test::FakePlatform {
            NoParser parser;
            platform::LocaleServices &localeServices() override { return parser; }
        } platform;
        platform.speech.locales = {u"-EN-x"_qs, u"DE"_qs, u"--"_qs};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"-EN-x"_qs, u"DE"_qs}));
    }

    void noSupportedLocaleGivesAnEmptyList() {
        m_platform->speech.locales.clear();
        QVERIFY(LanguageCatalog::spokenOptions().isEmpty());
    }

    void spokenIsComputedAfreshAtEveryRead() {
        QCOMPARE(ids(LanguageCatalog::spoken()), QStringList{u"en-US"_qs});
        m_platform->speech.locales = {u"ru-RU"_qs};
        QCOMPARE(ids(LanguageCatalog::spoken()), QStringList{u"ru-RU"_qs});
    }

    void defaultSpokenIsAmericanEnglish() {
        QCOMPARE(
            LanguageCatalog::defaultSpoken({spoken(u"ru-RU"_qs, u"ru"_qs), spoken(u"en-US"_qs, u"en"_qs)}).id,
            u"en-US"_qs);
    }

    void defaultSpokenWithoutAmericanEnglishIsTheFirstOption() {
        m_platform->speech.locales = {u"en-GB"_qs, u"es-ES"_qs, u"ru-RU"_qs};
        QCOMPARE(LanguageCatalog::defaultSpoken(LanguageCatalog::spokenOptions()).id, u"ru-RU"_qs);
    }

    void defaultTargetIsRussian() {
        QCOMPARE(LanguageCatalog::defaultTarget(),
                 (TranslationLanguageOption{u"ru"_qs, u"Russian"_qs, u"🇷🇺"_qs}));
    }

    void lookUpsMatchExactly() {
        const QList options{spoken(u"en-GB"_qs, u"en"_qs), spoken(u"en-US"_qs, u"en"_qs)};
        QVERIFY(!LanguageCatalog::spokenOption(std::nullopt, options));
        QVERIFY(!LanguageCatalog::spokenOption(u"en-us"_qs, options));
        QCOMPARE(LanguageCatalog::spokenOption(u"en-US"_qs, options)->id, u"en-US"_qs);
        QVERIFY(!LanguageCatalog::targetOption(std::nullopt, LanguageCatalog::targets()));
        QVERIFY(!LanguageCatalog::targetOption(u"EN"_qs, LanguageCatalog::targets()));
        QCOMPARE(LanguageCatalog::targetOption(u"vi"_qs, LanguageCatalog::targets())->name, u"Vietnamese"_qs);
    }

    void preferredSpeechLocaleTakesAPreferredRegion() {
        const QList options{spoken(u"en-AU"_qs, u"en"_qs), spoken(u"en-GB"_qs, u"en"_qs),
                            spoken(u"en-US"_qs, u"en"_qs)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_qs, options)->id, u"en-US"_qs);
    }

    void preferredSpeechLocaleWithoutAPreferredRegionTakesTheFirst() {
        const QList options{spoken(u"en-AU"_qs, u"en"_qs), spoken(u"en-GB"_qs, u"en"_qs)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_qs, options)->id, u"en-AU"_qs);
    }

    void preferredSpeechLocaleKnowsTwelveRegions() {
        for (const QString &region : {u"US"_qs, u"RU"_qs, u"KZ"_qs, u"UZ"_qs, u"KG"_qs, u"ES"_qs, u"FR"_qs,
                                      u"DE"_qs, u"IT"_qs, u"BR"_qs, u"TR"_qs, u"CN"_qs}) {
            const QString preferred = u"en-"_qs + region;
            const QList options{spoken(u"en-AU"_qs, u"en"_qs), spoken(preferred, u"en"_qs)};
            QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_qs, options)->id, preferred);
        }
    }

    void preferredSpeechLocaleRanksByTheOptionsOrder() {
        // Both regions are preferred ones; the list of them does not rank.
        const QList options{spoken(u"es-CN"_qs, u"es"_qs), spoken(u"es-ES"_qs, u"es"_qs)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"es"_qs, options)->id, u"es-CN"_qs);
    }

    void preferredSpeechLocaleWithoutACandidateIsNone() {
        QVERIFY(!LanguageCatalog::preferredSpeechLocale(u"nl"_qs, {spoken(u"en-US"_qs, u"en"_qs)}));
    }

    void onDeviceTranslationLacksThreeLanguages() {
        for (const auto &target : LanguageCatalog::targets()) {
            const bool isMissing = target.id == u"kk" || target.id == u"uz" || target.id == u"ky";
            QCOMPARE(LanguageCatalog::supportsAppleLocalTranslation(target.id), !isMissing);
        }
    }

    void onDeviceSupportIsAskedCaseSensitively() {
        QVERIFY(LanguageCatalog::supportsAppleLocalTranslation(u"KK"_qs));
    }

    void flagOfANumericRegionIsTheGlobe() { QCOMPARE(flagOf(u"es-419"_qs, *m_platform), u"🌐"_qs); }
    void flagWithoutARegionStandsForTheLanguage() {
        QCOMPARE(flagOf(u"ar"_qs, *m_platform), u"🇸🇦"_qs);
        for (const auto &target : LanguageCatalog::targets())
            QCOMPARE(flagOf(target.id, *m_platform), target.flag);
    }
    void flagOfARegionThatDoesNotParseStandsForTheLanguage() {
        QCOMPARE(flagOf(u"pt-Portugal"_qs, *m_platform), u"🇧🇷"_qs);
    }
    void flagOfARegionIsItsTwoLetters() { QCOMPARE(flagOf(u"de-AT"_qs, *m_platform), u"🇦🇹"_qs); }

    void flagOfAnyOtherRegionThanTwoLettersIsTheGlobe_data() {
        QTest::addColumn<QString>("region");
        QTest::newRow("empty") << QString();
        QTest::newRow("one letter") << u"A"_qs;
        QTest::newRow("three letters") << u"AUT"_qs;
        QTest::newRow("a digit") << u"A1"_qs;
        QTest::newRow("before A") << u"@A"_qs;
        QTest::newRow("after Z") << u"A["_qs;
        QTest::newRow("beyond ASCII") << u"ÖA"_qs;
    }
    void flagOfAnyOtherRegionThanTwoLettersIsTheGlobe() {
        QFETCH(const QString, region);
        GermanPlatform platform;
        platform.parser.region = region;
        QCOMPARE(flagOf(u"de"_qs, platform), u"🌐"_qs);
    }
    void flagOfARegionInSmallLettersIsThatOfTheCapitals() {
        GermanPlatform platform;
        platform.parser.region = u"at"_qs;
        QCOMPARE(flagOf(u"de"_qs, platform), u"🇦🇹"_qs);
    }

    void enginesHaveTheirNamesInOrder() {
        QCOMPARE(allTranslationEngines.size(), 2u);
        QCOMPARE(rawValue(allTranslationEngines[0]), u"appleLocal"_qs);
        QCOMPARE(name(allTranslationEngines[0]), u"Apple Local"_qs);
        QCOMPARE(rawValue(allTranslationEngines[1]), u"openAINatural"_qs);
        QCOMPARE(name(allTranslationEngines[1]), u"OpenAI Natural"_qs);
    }

    void anEngineIsReadFromItsExactRawValueOnly() {
        QVERIFY(translationEngineFromRawValue(u"appleLocal"_qs) == TranslationEngine::appleLocal);
        QVERIFY(translationEngineFromRawValue(u"openAINatural"_qs) == TranslationEngine::openAINatural);
        QVERIFY(!translationEngineFromRawValue(u"AppleLocal"_qs));
        QVERIFY(!translationEngineFromRawValue(u""_qs));
    }

    void spokenOptionsCompareAndHashOverAllFields_data() {
        QTest::addColumn<QString SpokenLanguageOption::*>("field");
        QTest::newRow("id") << &SpokenLanguageOption::id;
        QTest::newRow("name") << &SpokenLanguageOption::name;
        QTest::newRow("flag") << &SpokenLanguageOption::flag;
        QTest::newRow("language") << &SpokenLanguageOption::translationLanguageIdentifier;
    }
    void spokenOptionsCompareAndHashOverAllFields() {
        QFETCH(QString SpokenLanguageOption::*, field);
        assertThatItCounts(SpokenLanguageOption{u"en-US"_qs, u"English"_qs, u"🇺🇸"_qs, u"en"_qs}, field);
    }

    void targetOptionsCompareAndHashOverAllFields_data() {
        QTest::addColumn<QString TranslationLanguageOption::*>("field");
        QTest::newRow("id") << &TranslationLanguageOption::id;
        QTest::newRow("name") << &TranslationLanguageOption::name;
        QTest::newRow("flag") << &TranslationLanguageOption::flag;
    }
    void targetOptionsCompareAndHashOverAllFields() {
        QFETCH(QString TranslationLanguageOption::*, field);
        assertThatItCounts(TranslationLanguageOption{u"en"_qs, u"English"_qs, u"🇺🇸"_qs}, field);
    }

private:
    template <typename Option>
    static void assertThatItCounts(const Option &option, QString Option::*field) {
        Option other = option;
        QVERIFY(other == option);
        QCOMPARE(qHash(other), qHash(option));
        other.*field += u'x';
        QVERIFY(other != option);
        QVERIFY(qHash(other) != qHash(option));
    }

    std::unique_ptr<test::FakePlatform> m_platform;
};

QTEST_GUILESS_MAIN(LanguageCatalogTest)
#include "LanguageCatalogTest.moc"
