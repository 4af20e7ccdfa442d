#pragma once

#include <QString>

namespace quillora::platform {

/// The English name of a language code such as "ru"; the code itself where it has none.
QString englishLanguageName(const QString &code);

/// "from English to Russian", for the codes of a language pair.
QString pairInWords(const QString &source, const QString &target);

/// The two-letter form of a language code where there is one: "eng" is "en".
QString shortLanguageCode(const QString &code);

} // namespace quillora::platform
