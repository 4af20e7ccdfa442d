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

    /// The name alone as the panel has it, in English; the code where the panel does not have the language.
    static QString english(const QString &code);
};

} // namespace quillora
