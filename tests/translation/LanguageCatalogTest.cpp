#include "translation/LanguageCatalog.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationEngine.h"

#include <QTest>

using namespace Qt::StringLiterals;
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
        Components components(const QString &) const override { return {u"de"_s, region}; }
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
            {u"ru"_s, u"Russian"_s, u"🇷🇺"_s},    {u"en"_s, u"English"_s, u"🇺🇸"_s},
            {u"kk"_s, u"Kazakh"_s, u"🇰🇿"_s},     {u"uz"_s, u"Uzbek"_s, u"🇺🇿"_s},
            {u"ky"_s, u"Kyrgyz"_s, u"🇰🇬"_s},     {u"ar"_s, u"Arabic"_s, u"🇸🇦"_s},
            {u"zh"_s, u"Chinese"_s, u"🇨🇳"_s},    {u"nl"_s, u"Dutch"_s, u"🇳🇱"_s},
            {u"es"_s, u"Spanish"_s, u"🇪🇸"_s},    {u"fr"_s, u"French"_s, u"🇫🇷"_s},
            {u"de"_s, u"German"_s, u"🇩🇪"_s},     {u"id"_s, u"Indonesian"_s, u"🇮🇩"_s},
            {u"it"_s, u"Italian"_s, u"🇮🇹"_s},    {u"ja"_s, u"Japanese"_s, u"🇯🇵"_s},
            {u"ko"_s, u"Korean"_s, u"🇰🇷"_s},     {u"pl"_s, u"Polish"_s, u"🇵🇱"_s},
            {u"pt"_s, u"Portuguese"_s, u"🇧🇷"_s}, {u"th"_s, u"Thai"_s, u"🇹🇭"_s},
            {u"tr"_s, u"Turkish"_s, u"🇹🇷"_s},    {u"uk"_s, u"Ukrainian"_s, u"🇺🇦"_s},
            {u"vi"_s, u"Vietnamese"_s, u"🇻🇳"_s}};
        QCOMPARE(LanguageCatalog::targets().size(), rows.size());
        for (qsizetype i = 0; i < rows.size(); ++i) {
            const auto &[id, name, flag] = rows[i];
            QCOMPARE(LanguageCatalog::targets()[i], (TranslationLanguageOption{id, name, flag}));
        }
    }

    void aLocaleWhoseLanguageIsNoTargetIsNeverListed() {
        m_platform->speech.locales = {u"sv-SE"_s, u"en-US"_s};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), QStringList{u"en-US"_s});
    }

    void americanEnglishLeadsAndBritishIsSortedByName() {
        m_platform->speech.locales = {u"nl-NL"_s, u"en-GB"_s, u"en-AU"_s, u"ru-RU"_s, u"en-US"_s, u"es-ES"_s};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()),
                 (QStringList{u"en-US"_s, u"ru-RU"_s, u"es-ES"_s, u"nl-NL"_s, u"en-AU"_s, u"en-GB"_s}));
    }

    void theTwelveCommonLocalesLeadInTheirOrder() {
        const QStringList common{u"en-US"_s, u"ru-RU"_s, u"kk-KZ"_s, u"uz-UZ"_s, u"ky-KG"_s, u"es-ES"_s,
                                 u"fr-FR"_s, u"de-DE"_s, u"it-IT"_s, u"pt-BR"_s, u"tr-TR"_s, u"zh-CN"_s};
        m_platform->speech.locales = QStringList{u"ar"_s};
        for (const QString &identifier : common)
            m_platform->speech.locales.prepend(identifier);
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), common + QStringList{u"ar"_s});
    }

    void equalNamesKeepTheRecognizersOrder() {
        m_platform->locale.displayNames = {{u"en-ZA"_s, u"english"_s}, {u"en-IN"_s, u"ENGLISH"_s}};
        m_platform->speech.locales = {u"en-ZA"_s, u"en-IN"_s};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"en-ZA"_s, u"en-IN"_s}));
        m_platform->speech.locales = {u"en-IN"_s, u"en-ZA"_s};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"en-IN"_s, u"en-ZA"_s}));
    }

    void anOptionBearsItsCapitalizedNameFlagAndLanguage() {
        m_platform->locale.displayNames = {{u"es-MX"_s, u"español (méxico)"_s}};
        m_platform->speech.locales = {u"es-MX"_s};
        QCOMPARE(LanguageCatalog::spokenOptions(),
                 (QList{SpokenLanguageOption{u"es-MX"_s, u"Español (México)"_s, u"🇲🇽"_s, u"es"_s}}));
    }

    void anIdentifierWithoutADisplayNameNamesItself() {
        m_platform->speech.locales = {u"en-JM"_s};
        QCOMPARE(LanguageCatalog::spokenOptions().first().name, u"En-Jm"_s);
    }

    void anIdentifierThatDoesNotParseIsReadByItsFirstPiece() {
        class NoParser : public test::FakeLocaleServices {
            Components components(const QString &) const override { return {}; }
        };
        struct Platform : test::FakePlatform {
            NoParser parser;
            platform::LocaleServices &localeServices() override { return parser; }
        } platform;
        platform.speech.locales = {u"-EN-x"_s, u"DE"_s, u"--"_s};
        QCOMPARE(ids(LanguageCatalog::spokenOptions()), (QStringList{u"-EN-x"_s, u"DE"_s}));
    }

    void noSupportedLocaleGivesAnEmptyList() {
        m_platform->speech.locales.clear();
        QVERIFY(LanguageCatalog::spokenOptions().isEmpty());
    }

    void spokenIsComputedAfreshAtEveryRead() {
        QCOMPARE(ids(LanguageCatalog::spoken()), QStringList{u"en-US"_s});
        m_platform->speech.locales = {u"ru-RU"_s};
        QCOMPARE(ids(LanguageCatalog::spoken()), QStringList{u"ru-RU"_s});
    }

    void defaultSpokenIsAmericanEnglish() {
        QCOMPARE(
            LanguageCatalog::defaultSpoken({spoken(u"ru-RU"_s, u"ru"_s), spoken(u"en-US"_s, u"en"_s)}).id,
            u"en-US"_s);
    }

    void defaultSpokenWithoutAmericanEnglishIsTheFirstOption() {
        m_platform->speech.locales = {u"en-GB"_s, u"es-ES"_s, u"ru-RU"_s};
        QCOMPARE(LanguageCatalog::defaultSpoken(LanguageCatalog::spokenOptions()).id, u"ru-RU"_s);
    }

    void defaultTargetIsRussian() {
        QCOMPARE(LanguageCatalog::defaultTarget(),
                 (TranslationLanguageOption{u"ru"_s, u"Russian"_s, u"🇷🇺"_s}));
    }

    void lookUpsMatchExactly() {
        const QList options{spoken(u"en-GB"_s, u"en"_s), spoken(u"en-US"_s, u"en"_s)};
        QVERIFY(!LanguageCatalog::spokenOption(std::nullopt, options));
        QVERIFY(!LanguageCatalog::spokenOption(u"en-us"_s, options));
        QCOMPARE(LanguageCatalog::spokenOption(u"en-US"_s, options)->id, u"en-US"_s);
        QVERIFY(!LanguageCatalog::targetOption(std::nullopt, LanguageCatalog::targets()));
        QVERIFY(!LanguageCatalog::targetOption(u"EN"_s, LanguageCatalog::targets()));
        QCOMPARE(LanguageCatalog::targetOption(u"vi"_s, LanguageCatalog::targets())->name, u"Vietnamese"_s);
    }

    void preferredSpeechLocaleTakesAPreferredRegion() {
        const QList options{spoken(u"en-AU"_s, u"en"_s), spoken(u"en-GB"_s, u"en"_s),
                            spoken(u"en-US"_s, u"en"_s)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_s, options)->id, u"en-US"_s);
    }

    void preferredSpeechLocaleWithoutAPreferredRegionTakesTheFirst() {
        const QList options{spoken(u"en-AU"_s, u"en"_s), spoken(u"en-GB"_s, u"en"_s)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_s, options)->id, u"en-AU"_s);
    }

    void preferredSpeechLocaleKnowsTwelveRegions() {
        for (const QString &region : {u"US"_s, u"RU"_s, u"KZ"_s, u"UZ"_s, u"KG"_s, u"ES"_s, u"FR"_s, u"DE"_s,
                                      u"IT"_s, u"BR"_s, u"TR"_s, u"CN"_s}) {
            const QString preferred = u"en-"_s + region;
            const QList options{spoken(u"en-AU"_s, u"en"_s), spoken(preferred, u"en"_s)};
            QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"en"_s, options)->id, preferred);
        }
    }

    void preferredSpeechLocaleRanksByTheOptionsOrder() {
        // Both regions are preferred ones; the list of them does not rank.
        const QList options{spoken(u"es-CN"_s, u"es"_s), spoken(u"es-ES"_s, u"es"_s)};
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"es"_s, options)->id, u"es-CN"_s);
    }

    void preferredSpeechLocaleWithoutACandidateIsNone() {
        QVERIFY(!LanguageCatalog::preferredSpeechLocale(u"nl"_s, {spoken(u"en-US"_s, u"en"_s)}));
    }

    void onDeviceTranslationLacksThreeLanguages() {
        for (const auto &target : LanguageCatalog::targets()) {
            const bool isMissing = target.id == u"kk" || target.id == u"uz" || target.id == u"ky";
            QCOMPARE(LanguageCatalog::supportsAppleLocalTranslation(target.id), !isMissing);
        }
    }

    void onDeviceSupportIsAskedCaseSensitively() {
        QVERIFY(LanguageCatalog::supportsAppleLocalTranslation(u"KK"_s));
    }

    void flagOfANumericRegionIsTheGlobe() { QCOMPARE(flagOf(u"es-419"_s, *m_platform), u"🌐"_s); }
    void flagWithoutARegionStandsForTheLanguage() {
        QCOMPARE(flagOf(u"ar"_s, *m_platform), u"🇸🇦"_s);
        for (const auto &target : LanguageCatalog::targets())
            QCOMPARE(flagOf(target.id, *m_platform), target.flag);
    }
    void flagOfARegionThatDoesNotParseStandsForTheLanguage() {
        QCOMPARE(flagOf(u"pt-Portugal"_s, *m_platform), u"🇧🇷"_s);
    }
    void flagOfARegionIsItsTwoLetters() { QCOMPARE(flagOf(u"de-AT"_s, *m_platform), u"🇦🇹"_s); }

    void flagOfAnyOtherRegionThanTwoLettersIsTheGlobe_data() {
        QTest::addColumn<QString>("region");
        QTest::newRow("empty") << QString();
        QTest::newRow("one letter") << u"A"_s;
        QTest::newRow("three letters") << u"AUT"_s;
        QTest::newRow("a digit") << u"A1"_s;
        QTest::newRow("before A") << u"@A"_s;
        QTest::newRow("after Z") << u"A["_s;
        QTest::newRow("beyond ASCII") << u"ÖA"_s;
    }
    void flagOfAnyOtherRegionThanTwoLettersIsTheGlobe() {
        QFETCH(const QString, region);
        GermanPlatform platform;
        platform.parser.region = region;
        QCOMPARE(flagOf(u"de"_s, platform), u"🌐"_s);
    }
    void flagOfARegionInSmallLettersIsThatOfTheCapitals() {
        GermanPlatform platform;
        platform.parser.region = u"at"_s;
        QCOMPARE(flagOf(u"de"_s, platform), u"🇦🇹"_s);
    }

    void enginesHaveTheirNamesInOrder() {
        QCOMPARE(allTranslationEngines.size(), 2u);
        QCOMPARE(rawValue(allTranslationEngines[0]), u"appleLocal"_s);
        QCOMPARE(name(allTranslationEngines[0]), u"Apple Local"_s);
        QCOMPARE(rawValue(allTranslationEngines[1]), u"openAINatural"_s);
        QCOMPARE(name(allTranslationEngines[1]), u"OpenAI Natural"_s);
    }

    void anEngineIsReadFromItsExactRawValueOnly() {
        QVERIFY(translationEngineFromRawValue(u"appleLocal"_s) == TranslationEngine::appleLocal);
        QVERIFY(translationEngineFromRawValue(u"openAINatural"_s) == TranslationEngine::openAINatural);
        QVERIFY(!translationEngineFromRawValue(u"AppleLocal"_s));
        QVERIFY(!translationEngineFromRawValue(u""_s));
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
        assertThatItCounts(SpokenLanguageOption{u"en-US"_s, u"English"_s, u"🇺🇸"_s, u"en"_s}, field);
    }

    void targetOptionsCompareAndHashOverAllFields_data() {
        QTest::addColumn<QString TranslationLanguageOption::*>("field");
        QTest::newRow("id") << &TranslationLanguageOption::id;
        QTest::newRow("name") << &TranslationLanguageOption::name;
        QTest::newRow("flag") << &TranslationLanguageOption::flag;
    }
    void targetOptionsCompareAndHashOverAllFields() {
        QFETCH(QString TranslationLanguageOption::*, field);
        assertThatItCounts(TranslationLanguageOption{u"en"_s, u"English"_s, u"🇺🇸"_s}, field);
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
