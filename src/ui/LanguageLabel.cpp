#include "ui/LanguageLabel.h"

#include "platform/LocaleServices.h"
#include "platform/Platform.h"
#include "translation/LanguageCatalog.h"

using namespace Qt::StringLiterals;

namespace quillora {

LanguageLabel LanguageLabel::of(const QString &code) {
    const auto known = LanguageCatalog::targetOption(code, LanguageCatalog::targets());
    const auto &locale = platform::Platform::current().localeServices();
    const auto own = locale.localizedString(code);
    const QString name = own ? locale.capitalized(*own) : english(code);
    const QString flag = known ? known->flag : u"\U0001F310"_s;
    return {flag, name, (name + u' ' + english(code) + u' ' + code).toLower()};
}

QString LanguageLabel::english(const QString &code) {
    const auto known = LanguageCatalog::targetOption(code, LanguageCatalog::targets());
    return known ? known->name : code;
}

} // namespace quillora
