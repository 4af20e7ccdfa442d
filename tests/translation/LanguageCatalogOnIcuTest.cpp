#include "fakes/FakePlatform.h"
#include "platform/linux/locale/IcuLocaleServices.h"
#include "translation/LanguageCatalog.h"

#include <QTest>

using namespace Qt::StringLiterals;
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
        const QString english = u"en_US.UTF-8"_s;
        row("English", english, u"en-US"_s, u"English (United States)"_s, u"🇺🇸"_s, u"en"_s);
        row("of an underscore", english, u"en_GB"_s, u"English (United Kingdom)"_s, u"🇬🇧"_s, u"en"_s);
        row("in small letters", english, u"pt-br"_s, u"Portuguese (Brazil)"_s, u"🇧🇷"_s, u"pt"_s);
        row("of a script", english, u"zh-Hans-CN"_s, u"Chinese (Simplified, China)"_s, u"🇨🇳"_s, u"zh"_s);
        row("of a continent", english, u"es-419"_s, u"Spanish (Latin America)"_s, u"🌐"_s, u"es"_s);
        row("without a region", english, u"ky"_s, u"Kyrgyz"_s, u"🇰🇬"_s, u"ky"_s);
        row("that does not parse", english, u"de-DE-toolongforapart"_s, u"De-De-Toolongforapart"_s, u"🇩🇪"_s,
            u"de"_s);
        row("a Russian reads", u"ru_RU.UTF-8"_s, u"en-US"_s, u"Английский (Соединенные Штаты)"_s, u"🇺🇸"_s,
            u"en"_s);
        row("a Turk reads", u"tr_TR.UTF-8"_s, u"en-IE"_s, u"İngilizce (İrlanda)"_s, u"🇮🇪"_s, u"en"_s);
        row("without a locale", u"C"_s, u"kk-KZ"_s, u"Kazakh (Kazakhstan)"_s, u"🇰🇿"_s, u"kk"_s);
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
        const IcuPlatform platform(u"de_DE.UTF-8"_s, {u"en-SE"_s, u"en-AT"_s, u"en-NL"_s, u"en-US"_s});
        QCOMPARE(ids(LanguageCatalog::spokenOptions()),
                 (QStringList{u"en-US"_s, u"en-NL"_s, u"en-AT"_s, u"en-SE"_s}));
    }

    void ofSeveralLocalesTheOneOfAUsualRegionIsPreferred() {
        const IcuPlatform platform(u"en_US.UTF-8"_s,
                                   {u"es-419"_s, u"es-MX"_s, u"es_US"_s, u"zh-Hant-TW"_s, u"zh-Hans-CN"_s});
        const auto options = LanguageCatalog::spokenOptions();
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"es"_s, options)->id, u"es_US"_s);
        QCOMPARE(LanguageCatalog::preferredSpeechLocale(u"zh"_s, options)->id, u"zh-Hans-CN"_s);
    }

    void everyTargetIsALanguageThatTheLibraryKnows() {
        for (const auto &target : LanguageCatalog::targets()) {
            const IcuPlatform platform(u"en_US.UTF-8"_s, {target.id});
            const auto options = LanguageCatalog::spokenOptions();
            QCOMPARE(options.size(), 1);
            QCOMPARE(options.first().name, target.name);
            QCOMPARE(options.first().flag, target.flag);
        }
    }
};

QTEST_GUILESS_MAIN(LanguageCatalogOnIcuTest)
#include "LanguageCatalogOnIcuTest.moc"
