#include "fakes/FakePlatform.h"
#include "platform/linux/locale/IcuLocaleServices.h"
#include "translation/LanguageCatalog.h"

#include <QTest>

using namespace quillora;

namespace {

/// A desktop of fakes, but for the locale library.
struct IcuPlatform : test::FakePlatform {
    IcuPlatform(const QString &posixLocale, const QStringList &locales) : icu(posixLocale) {
        speech.locales = locales;
    }
    platform::LocaleServices &localeServices() override { return icu; }

    platform::IcuLocaleServices icu;
};

QStringList ids(const QList<SpokenLanguageOption> &options) {
    QStringList ids;
    for (const auto &option : options)
        ids += option.id;
    return ids;
}

} // namespace

/// The catalog as users see it, with the real locale library.
class LanguageCatalogOnIcuTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void localesBearNamesFlagsAndLanguages_data() {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("flag");
        QTest::addColumn<QString>("language");
        const auto row = [](const char *what, const QString &user, const QString &identifier,
                            const QString &name, const QString &flag, const QString &language) {
            QTest::newRow(what) << user << identifier << name << flag << language;
        };
        const QString english = u"en_US.UTF-8"_qs;
        row("English", english, u"en-US"_qs, u"English (United States)"_qs, u"🇺🇸"_qs, u"en"_qs);
        row("of an underscore", english, u"en_GB"_qs, u"English (United Kingdom)"_qs, u"🇬🇧"_qs, u"en"_qs);
        row("in small letters", english, u"pt-br"_qs, u"Portuguese (Brazil)"_qs, u"🇧🇷"_qs, u"pt"_qs);
        row("of a script", english, u"zh-Hans-CN"_qs, u"Chinese (Simplified, China)"_qs, u"🇨🇳"_qs, u"zh"_qs);
        row("of a continent", english, u"es-419"_qs, u"Spanish (Latin America)"_qs, u"🌐"_qs, u"es"_qs);
        row("without a region", english, u"ky"_qs, u"Kyrgyz"_qs, u"🇰🇬"_qs, u"ky"_qs);
        row("that does not parse", english, u"de-DE-toolongforapart"_qs, u"De-De-Toolongforapart"_qs,
            u"🇩🇪"_qs, u"de"_qs);
        row("a Russian reads", u"ru_RU.UTF-8"_qs, u"en-US"_qs, u"Английский (Соединенные Штаты)"_qs, u"🇺🇸"_qs,
            u"en"_qs);
        row("a Turk reads", u"tr_TR.UTF-8"_qs, u"en-IE"_qs, u"İngilizce (İrlanda)"_qs, u"🇮🇪"_qs, u"en"_qs);
        row("without a locale", u"C"_qs, u"kk-KZ"_qs, u"Kazakh (Kazakhstan)"_qs, u"🇰🇿"_qs, u"kk"_qs);
    }
    void localesBearNamesFlagsAndLanguages() {
        QFETCH(QString, user);
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QFETCH(QString, flag);
        QFETCH(QString, language);
        const IcuPlatform platform(user, {identifier});
        const auto options = LanguageCatalog::spokenOptions();
        QCOMPARE(options.size(), 1);
        QCOMPARE(options.first().id, identifier);
        QCOMPARE(options.first().name, name);
        QCOMPARE(options.first().flag, flag);
        QCOMPARE(options.first().translationLanguageIdentifier, language);
    }

    void namesSortAsTheUserWouldSortThem() {
        // Letter by letter, Österreich would follow all others.
        const IcuPlatform platform(u"de_DE.UTF-8"_qs, {u"en-SE"_qs, u"en-AT"_qs, u"en-NL"_qs, u"en-US"_qs});
        QCOMPARE(ids(LanguageCatalog::spokenOptions()),
                 (QStringList{u"en-US"_qs, u"en-NL"_qs, u"en-AT"_qs, u"en-SE"_qs}));
    }

    void ofSeveralLocalesTheOneOfAUsualRegionIsPreferred() {
        const IcuPlatform platform(
            u"en_US.UTF-8"_qs, {u"es-419"_qs, u"es-MX"_qs, u"es_US"_qs, u"zh-Hant-TW"_qs, u"zh-Hans-CN"_qs});
        const auto options = LanguageCatalog::spokenOptions();
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"es"_qs, options)->id, u"es_US"_qs);
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"zh"_qs, options)->id, u"zh-Hans-CN"_qs);
    }

    void everyTargetIsALanguageThatTheLibraryKnows() {
        for (const auto &target : LanguageCatalog::targets()) {
            const IcuPlatform platform(u"en_US.UTF-8"_qs, {target.id});
            const auto options = LanguageCatalog::spokenOptions();
            QCOMPARE(options.size(), 1);
            QCOMPARE(options.first().name, target.name);
            QCOMPARE(options.first().flag, target.flag);
        }
    }
};

QTEST_GUILESS_MAIN(LanguageCatalogOnIcuTest)
#include "LanguageCatalogOnIcuTest.moc"
