#pragma once

#include "platform/LocaleServices.h"

#include <memory>
#include <unicode/locid.h>

U_NAMESPACE_BEGIN
class Collator;
U_NAMESPACE_END

namespace quillora::platform {

/// Locale services out of ICU.
class IcuLocaleServices : public LocaleServices {
public:
    /// Serves the user of this process: the first of `LC_ALL`, `LC_MESSAGES` and `LANG` that is set names the
    /// locale; none of them, or "C", means English.
    IcuLocaleServices();

    /// Serves a user of the locale with the given POSIX name, such as "ru_RU.UTF-8".
    explicit IcuLocaleServices(const QString &posixLocale);
    ~IcuLocaleServices() override;

    Components components(const QString &localeIdentifier) const override;
    std::optional<QString> localizedString(const QString &localeIdentifier) const override;
    QString capitalized(const QString &text) const override;
    int localizedCaseInsensitiveCompare(const QString &a, const QString &b) const override;

private:
    icu::Locale m_userLocale;
    std::unique_ptr<icu::Collator> m_collator; ///< none where ICU has no collation data at all
};

} // namespace quillora::platform
