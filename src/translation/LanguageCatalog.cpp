#include "translation/LanguageCatalog.h"

#include "platform/LocaleServices.h"
#include "platform/Platform.h"
#include "platform/SpeechRecognizers.h"

#include <QHash>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

const QString &globe() {
    static const QString emoji = u"\U0001F310"_s;
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
    static const QStringList identifiers{u"en-US"_s, u"ru-RU"_s, u"kk-KZ"_s, u"uz-UZ"_s,
                                         u"ky-KG"_s, u"es-ES"_s, u"fr-FR"_s, u"de-DE"_s,
                                         u"it-IT"_s, u"pt-BR"_s, u"tr-TR"_s, u"zh-CN"_s};
    return identifiers;
}

const QSet<QString> &preferredRegions() {
    static const QSet<QString> regions{u"US"_s, u"RU"_s, u"KZ"_s, u"UZ"_s, u"KG"_s, u"ES"_s,
                                       u"FR"_s, u"DE"_s, u"IT"_s, u"BR"_s, u"TR"_s, u"CN"_s};
    return regions;
}

const QHash<QString, QString> &representativeRegions() {
    static const QHash<QString, QString> regions{
        {u"ar"_s, u"SA"_s}, {u"de"_s, u"DE"_s}, {u"en"_s, u"US"_s}, {u"es"_s, u"ES"_s}, {u"fr"_s, u"FR"_s},
        {u"id"_s, u"ID"_s}, {u"it"_s, u"IT"_s}, {u"ja"_s, u"JP"_s}, {u"kk"_s, u"KZ"_s}, {u"ko"_s, u"KR"_s},
        {u"ky"_s, u"KG"_s}, {u"nl"_s, u"NL"_s}, {u"pl"_s, u"PL"_s}, {u"pt"_s, u"BR"_s}, {u"ru"_s, u"RU"_s},
        {u"th"_s, u"TH"_s}, {u"tr"_s, u"TR"_s}, {u"uk"_s, u"UA"_s}, {u"uz"_s, u"UZ"_s}, {u"vi"_s, u"VN"_s},
        {u"zh"_s, u"CN"_s}};
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
        target(u"ru"_s, u"Russian"_s), target(u"en"_s, u"English"_s),    target(u"kk"_s, u"Kazakh"_s),
        target(u"uz"_s, u"Uzbek"_s),   target(u"ky"_s, u"Kyrgyz"_s),     target(u"ar"_s, u"Arabic"_s),
        target(u"zh"_s, u"Chinese"_s), target(u"nl"_s, u"Dutch"_s),      target(u"es"_s, u"Spanish"_s),
        target(u"fr"_s, u"French"_s),  target(u"de"_s, u"German"_s),     target(u"id"_s, u"Indonesian"_s),
        target(u"it"_s, u"Italian"_s), target(u"ja"_s, u"Japanese"_s),   target(u"ko"_s, u"Korean"_s),
        target(u"pl"_s, u"Polish"_s),  target(u"pt"_s, u"Portuguese"_s), target(u"th"_s, u"Thai"_s),
        target(u"tr"_s, u"Turkish"_s), target(u"uk"_s, u"Ukrainian"_s),  target(u"vi"_s, u"Vietnamese"_s)};
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
    return firstWithId(u"en-US"_s, options).value_or(options.first());
}

TranslationLanguageOption LanguageCatalog::defaultTarget() { return target(u"ru"_s, u"Russian"_s); }

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
    static const QSet<QString> appleLocalUnsupportedLanguageIdentifiers{u"kk"_s, u"uz"_s, u"ky"_s};
    return !appleLocalUnsupportedLanguageIdentifiers.contains(languageIdentifier);
}

} // namespace quillora
