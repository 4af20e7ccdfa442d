#pragma once

#include <QString>

namespace quillora {

/// How a language is shown and found.
struct LanguageLabel {
    QString flag;
    QString name;  ///< in the user's tongue
    QString words; ///< all that a person may look for it by, in lower case

    /// Of a language code such as "de".
    static LanguageLabel of(const QString &code);
};

} // namespace quillora
