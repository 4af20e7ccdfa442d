#include "translation/LanguageCatalog.h"

#include "platform/LocaleServices.h"
#include "platform/Platform.h"
#include "platform/SpeechRecognizers.h"

#include <QHash>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <limits>

namespace quillora {

namespace {

const QString &globe() {
    static const QString emoji = u"\U0001F310"_qs;
    return emoji;
}

/// The two regional-indicator symbols of a region such as "RU"; the globe for anything else.
QString regionFlag(const QString &region) {
    constexpr char32_t regionalIndicatorOffset = 127397;
    const QString upper = region.toUpper();
    if (upper.size() != 2)
        return globe();
    QString flag;
    for (const QChar letter : upper) {
        if (letter < u'A' || letter > u'Z')
            return globe();
        flag += QChar::fromUcs4(letter.unicode() + regionalIndicatorOffset);
    }
    return flag;
}

const QStringList &spokenLocalePriority() {
    static const QStringList identifiers{u"en-US"_qs, u"ru-RU"_qs, u"kk-KZ"_qs, u"uz-UZ"_qs,
                                         u"ky-KG"_qs, u"es-ES"_qs, u"fr-FR"_qs, u"de-DE"_qs,
                                         u"it-IT"_qs, u"pt-BR"_qs, u"tr-TR"_qs, u"zh-CN"_qs};
    return identifiers;
}

const QSet<QString> &preferredRegions() {
    static const QSet<QString> regions{u"US"_qs, u"RU"_qs, u"KZ"_qs, u"UZ"_qs, u"KG"_qs, u"ES"_qs,
                                       u"FR"_qs, u"DE"_qs, u"IT"_qs, u"BR"_qs, u"TR"_qs, u"CN"_qs};
    return regions;
}

const QHash<QString, QString> &representativeRegions() {
    static const QHash<QString, QString> regions{
        {u"ar"_qs, u"SA"_qs}, {u"de"_qs, u"DE"_qs}, {u"en"_qs, u"US"_qs}, {u"es"_qs, u"ES"_qs},
        {u"fr"_qs, u"FR"_qs}, {u"id"_qs, u"ID"_qs}, {u"it"_qs, u"IT"_qs}, {u"ja"_qs, u"JP"_qs},
        {u"kk"_qs, u"KZ"_qs}, {u"ko"_qs, u"KR"_qs}, {u"ky"_qs, u"KG"_qs}, {u"nl"_qs, u"NL"_qs},
        {u"pl"_qs, u"PL"_qs}, {u"pt"_qs, u"BR"_qs}, {u"ru"_qs, u"RU"_qs}, {u"th"_qs, u"TH"_qs},
        {u"tr"_qs, u"TR"_qs}, {u"uk"_qs, u"UA"_qs}, {u"uz"_qs, u"UZ"_qs}, {u"vi"_qs, u"VN"_qs},
        {u"zh"_qs, u"CN"_qs}};
    return regions;
}

TranslationLanguageOption target(const QString &id, const QString &name) {
    return {id, name, regionFlag(representativeRegions().value(id))};
}

/// What the locale parser says, else the identifier's first piece.
QString languageCode(const QString &identifier) {
    if (const auto code = platform::Platform::current().localeServices().components(identifier).languageCode)
        return *code;
    const QStringList pieces = identifier.split(u'-', Qt::SkipEmptyParts);
    return (pieces.isEmpty() ? identifier : pieces.first()).toLower();
}

/// The flag of the identifier's region, else of the region that stands for the language, else the globe.
QString flagEmoji(const QString &localeIdentifier, const QString &fallbackLanguageCode) {
    const auto region = platform::Platform::current().localeServices().components(localeIdentifier).region;
    return regionFlag(region.value_or(representativeRegions().value(fallbackLanguageCode)));
}

SpokenLanguageOption spokenLanguageOption(const QString &identifier, const QString &code) {
    const auto &locale = platform::Platform::current().localeServices();
    const QString name = locale.capitalized(locale.localizedString(identifier).value_or(identifier));
    return {identifier, name, flagEmoji(identifier, code), code};
}

bool sortsBefore(const SpokenLanguageOption &a, const SpokenLanguageOption &b) {
    const auto rank = [](const SpokenLanguageOption &option) {
        const auto index = spokenLocalePriority().indexOf(option.id);
        return index < 0 ? std::numeric_limits<qsizetype>::max() : index;
    };
    if (rank(a) != rank(b))
        return rank(a) < rank(b);
    return platform::Platform::current().localeServices().localizedCaseInsensitiveCompare(a.name, b.name) < 0;
}

template <typename Option>
std::optional<Option> firstWithId(const std::optional<QString> &id, const QList<Option> &options) {
    if (!id)
        return {};
    const auto found =
        std::find_if(options.begin(), options.end(), [&](const Option &o) { return o.id == *id; });
    return found == options.end() ? std::nullopt : std::optional<Option>(*found);
}

} // namespace

size_t qHash(const SpokenLanguageOption &option, size_t seed) noexcept {
    return qHashMulti(seed, option.id, option.name, option.flag, option.translationLanguageIdentifier);
}

size_t qHash(const TranslationLanguageOption &option, size_t seed) noexcept {
    return qHashMulti(seed, option.id, option.name, option.flag);
}

const QList<TranslationLanguageOption> &LanguageCatalog::targets() {
    static const QList<TranslationLanguageOption> options{
        target(u"ru"_qs, u"Russian"_qs),    target(u"en"_qs, u"English"_qs),
        target(u"kk"_qs, u"Kazakh"_qs),     target(u"uz"_qs, u"Uzbek"_qs),
        target(u"ky"_qs, u"Kyrgyz"_qs),     target(u"ar"_qs, u"Arabic"_qs),
        target(u"zh"_qs, u"Chinese"_qs),    target(u"nl"_qs, u"Dutch"_qs),
        target(u"es"_qs, u"Spanish"_qs),    target(u"fr"_qs, u"French"_qs),
        target(u"de"_qs, u"German"_qs),     target(u"id"_qs, u"Indonesian"_qs),
        target(u"it"_qs, u"Italian"_qs),    target(u"ja"_qs, u"Japanese"_qs),
        target(u"ko"_qs, u"Korean"_qs),     target(u"pl"_qs, u"Polish"_qs),
        target(u"pt"_qs, u"Portuguese"_qs), target(u"th"_qs, u"Thai"_qs),
        target(u"tr"_qs, u"Turkish"_qs),    target(u"uk"_qs, u"Ukrainian"_qs),
        target(u"vi"_qs, u"Vietnamese"_qs)};
    return options;
}

QList<SpokenLanguageOption> LanguageCatalog::spoken() { return spokenOptions(); }

QList<SpokenLanguageOption> LanguageCatalog::spokenOptions() {
    QSet<QString> targetIds;
    for (const auto &option : targets())
        targetIds.insert(option.id);

    QList<SpokenLanguageOption> options;
    for (const QString &identifier : platform::Platform::current().speechRecognizers().supportedLocales()) {
        const QString code = languageCode(identifier);
        if (!targetIds.contains(code))
            continue;
        const auto option = spokenLanguageOption(identifier, code);
        options.insert(std::upper_bound(options.begin(), options.end(), option, sortsBefore), option);
    }
    return options;
}

SpokenLanguageOption LanguageCatalog::defaultSpoken(const QList<SpokenLanguageOption> &options) {
    if (options.isEmpty())
        qFatal("LanguageCatalog::defaultSpoken: there must be an option");
    return firstWithId(u"en-US"_qs, options).value_or(options.first());
}

TranslationLanguageOption LanguageCatalog::defaultTarget() { return target(u"ru"_qs, u"Russian"_qs); }

std::optional<SpokenLanguageOption>
LanguageCatalog::spokenOption(const std::optional<QString> &id, const QList<SpokenLanguageOption> &options) {
    return firstWithId(id, options);
}

std::optional<TranslationLanguageOption>
LanguageCatalog::targetOption(const std::optional<QString> &id,
                              const QList<TranslationLanguageOption> &options) {
    return firstWithId(id, options);
}

std::optional<SpokenLanguageOption>
LanguageCatalog::preferredSpeechLocale(const QString &translationLanguageIdentifier,
                                       const QList<SpokenLanguageOption> &options) {
    const auto &locale = platform::Platform::current().localeServices();
    std::optional<SpokenLanguageOption> first;
    for (const auto &option : options) {
        if (option.translationLanguageIdentifier != translationLanguageIdentifier)
            continue;
        const auto region = locale.components(option.id).region;
        if (region && preferredRegions().contains(*region))
            return option;
        if (!first)
            first = option;
    }
    return first;
}

bool LanguageCatalog::supportsAppleLocalTranslation(const QString &languageIdentifier) {
    static const QSet<QString> appleLocalUnsupportedLanguageIdentifiers{u"kk"_qs, u"uz"_qs, u"ky"_qs};
    return !appleLocalUnsupportedLanguageIdentifiers.contains(languageIdentifier);
}

} // namespace quillora
