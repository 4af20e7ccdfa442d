#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace quillora {

/// A locale that the user may speak.
struct SpokenLanguageOption {
    QString id;                            ///< the speech recognizer's identifier, such as "en-US"
    QString name;                          ///< display name in the user's language, capitalized
    QString flag;                          ///< a flag emoji, or the globe emoji
    QString translationLanguageIdentifier; ///< what the locale translates as, such as "en"

    bool operator==(const SpokenLanguageOption &) const = default;
};

size_t qHash(const SpokenLanguageOption &option, size_t seed = 0) noexcept;

/// A language that the user may translate into.
struct TranslationLanguageOption {
    QString id;   ///< two-letter language code
    QString name; ///< English name
    QString flag; ///< a flag emoji

    bool operator==(const TranslationLanguageOption &) const = default;
};

size_t qHash(const TranslationLanguageOption &option, size_t seed = 0) noexcept;

/// The fixed vocabulary of languages, and the rules that map spoken locales to translation languages. Pure,
/// but for `spoken` and `spokenOptions`, which ask the platform. Main thread only.
class LanguageCatalog {
public:
    LanguageCatalog() = delete;

    /// The target languages, in the order in which they are offered.
    static const QList<TranslationLanguageOption> &targets();

    /// As `spokenOptions`, computed afresh at every call.
    static QList<SpokenLanguageOption> spoken();

    /// Every locale that can be both recognized and translated: the common ones first, the others by name.
    /// Empty where the platform recognizes none.
    static QList<SpokenLanguageOption> spokenOptions();

    /// American English if it is there, else the first option. An empty list aborts the program.
    static SpokenLanguageOption defaultSpoken(const QList<SpokenLanguageOption> &options);

    static TranslationLanguageOption defaultTarget();

    static std::optional<SpokenLanguageOption> spokenOption(const std::optional<QString> &id,
                                                            const QList<SpokenLanguageOption> &options);
    static std::optional<TranslationLanguageOption>
    targetOption(const std::optional<QString> &id, const QList<TranslationLanguageOption> &options);

    /// The locale to speak for a translation language: the first whose region is a preferred one, else the
    /// first.
    static std::optional<SpokenLanguageOption>
    preferredSpeechLocale(const QString &translationLanguageIdentifier,
                          const QList<SpokenLanguageOption> &options);

    /// Whether the on-device engine may translate the language at all; exact and case-sensitive.
    static bool supportsAppleLocalTranslation(const QString &languageIdentifier);
};

} // namespace quillora
