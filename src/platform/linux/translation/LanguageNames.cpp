#include "platform/linux/translation/LanguageNames.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

QString englishLanguageName(const QString &code) {
    icu::UnicodeString name;
    icu::Locale(code.toLatin1().constData()).getDisplayLanguage(icu::Locale::getEnglish(), name);
    return QString(reinterpret_cast<const QChar *>(name.getBuffer()), name.length());
}

QString pairInWords(const QString &source, const QString &target) {
    return u"from %1 to %2"_s.arg(englishLanguageName(source), englishLanguageName(target));
}

QString shortLanguageCode(const QString &code) {
    return QString::fromLatin1(icu::Locale(code.toLatin1().constData()).getLanguage());
}

} // namespace quillora::platform
