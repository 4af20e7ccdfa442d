#include "platform/linux/translation/TextLayout.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

bool isWordCharacter(QChar character) { return character.isLetterOrNumber() || character.isSurrogate(); }

} // namespace

TextLayout::TextLayout(const QString &text) {
    // A passage: from its line's first visible character to the last.
    static const QRegularExpression visible(uR"([^\s\0](?:[^\n\r\v\f\0\x{85}\x{2028}\x{2029}]*[^\s\0])?)"_s,
                                            QRegularExpression::UseUnicodePropertiesOption);
    qsizetype position = 0;
    for (auto matches = visible.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        const QString passage = match.captured();
        if (std::none_of(passage.begin(), passage.end(), isWordCharacter))
            continue;
        if (match.capturedStart() > position)
            m_parts.push_back({text.mid(position, match.capturedStart() - position), false});
        m_parts.push_back({passage, true});
        position = match.capturedEnd();
    }
    if (position < text.size())
        m_parts.push_back({text.mid(position), false});
}

QStringList TextLayout::passages() const {
    QStringList passages;
    for (const Part &part : m_parts) {
        if (part.isPassage)
            passages.append(part.text);
    }
    return passages;
}

QString TextLayout::withPassages(const QStringList &translations) const {
    QString text;
    auto translation = translations.begin();
    for (const Part &part : m_parts) {
        const QString replacement = part.isPassage ? (translation++)->trimmed() : QString();
        text += replacement.isEmpty() ? part.text : replacement;
    }
    return text;
}

} // namespace quillora::platform
