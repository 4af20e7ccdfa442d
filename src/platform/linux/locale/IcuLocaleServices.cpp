#include "platform/linux/locale/IcuLocaleServices.h"

#include <QtGlobal>

#include <unicode/coll.h>
#include <unicode/unistr.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

icu::UnicodeString toIcu(const QString &text) {
    return icu::UnicodeString(reinterpret_cast<const char16_t *>(text.utf16()),
                              static_cast<int32_t>(text.size()));
}

QString fromIcu(const icu::UnicodeString &text) {
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

std::optional<QString> presentIfNotEmpty(const char *text) {
    return *text ? std::optional(QString::fromLatin1(text)) : std::nullopt;
}

QString environmentLocale() {
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

icu::Locale userLocale(const QString &posixLocale) {
    const QString name = posixLocale.section(u'.', 0, 0).section(u'@', 0, 0);
    if (name.isEmpty() || name == u"C"_s || name == u"POSIX"_s)
        return icu::Locale::getEnglish();
    return icu::Locale::createCanonical(posixLocale.toLatin1().constData());
}

/// The locale that the whole identifier names, or nothing if it names none.
std::optional<icu::Locale> parse(const QString &identifier) {
    const QByteArray tag = QString(identifier).replace(u'_', u'-').toUtf8();
    UErrorCode status = U_ZERO_ERROR;
    auto locale = icu::Locale::forLanguageTag({tag.constData(), static_cast<int32_t>(tag.size())}, status);
    if (tag.isEmpty() || U_FAILURE(status) || locale.isBogus())
        return {};
    return locale;
}

} // namespace

IcuLocaleServices::IcuLocaleServices() : IcuLocaleServices(environmentLocale()) {}

IcuLocaleServices::IcuLocaleServices(const QString &posixLocale) : m_userLocale(userLocale(posixLocale)) {
    UErrorCode status = U_ZERO_ERROR;
    m_collator.reset(icu::Collator::createInstance(m_userLocale, status));
    if (m_collator)
        m_collator->setStrength(icu::Collator::SECONDARY);
}

IcuLocaleServices::~IcuLocaleServices() = default;

LocaleServices::Components IcuLocaleServices::components(const QString &localeIdentifier) const {
    const auto locale = parse(localeIdentifier);
    if (!locale)
        return {};
    return {presentIfNotEmpty(locale->getLanguage()), presentIfNotEmpty(locale->getCountry())};
}

std::optional<QString> IcuLocaleServices::localizedString(const QString &localeIdentifier) const {
    const auto locale = parse(localeIdentifier);
    if (!locale)
        return {};
    icu::UnicodeString language;
    locale->getDisplayLanguage(m_userLocale, language);
    if (language.isEmpty() || language == icu::UnicodeString::fromUTF8(locale->getLanguage()))
        return {}; // ICU gives the code back where it knows no name
    icu::UnicodeString name;
    return fromIcu(locale->getDisplayName(m_userLocale, name));
}

QString IcuLocaleServices::capitalized(const QString &text) const {
    return fromIcu(toIcu(text).toTitle(nullptr, m_userLocale));
}

int IcuLocaleServices::localizedCaseInsensitiveCompare(const QString &a, const QString &b) const {
    if (!m_collator)
        return QString::compare(a, b, Qt::CaseInsensitive);
    UErrorCode status = U_ZERO_ERROR;
    return m_collator->compare(toIcu(a), toIcu(b), status);
}

} // namespace quillora::platform
