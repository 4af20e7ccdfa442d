#pragma once

#include <QString>

#include <optional>

namespace quillora::platform {

/// What locales are called and how texts compare, in the user's locale. Main thread only.
class LocaleServices {
public:
    struct Components {
        std::optional<QString> languageCode; ///< such as "en"
        std::optional<QString> region;       ///< such as "US" or "419"

        bool operator==(const Components &) const = default;
    };

    virtual ~LocaleServices() = default;

    /// What the identifier itself says; nothing is added that it does not name.
    virtual Components components(const QString &localeIdentifier) const = 0;

    /// The identifier's display name in the user's language, if it has one.
    virtual std::optional<QString> localizedString(const QString &localeIdentifier) const = 0;

    /// Every word with a capital first letter, by the rules of the user's locale.
    virtual QString capitalized(const QString &text) const = 0;

    /// Less than, equal to or greater than 0, as `a` sorts before, with or after `b` regardless of case.
    virtual int localizedCaseInsensitiveCompare(const QString &a, const QString &b) const = 0;
};

} // namespace quillora::platform
