#include "platform/linux/translation/TextLayout.h"

#include <QRegularExpression>

#include <algorithm>

namespace quillora::platform {

namespace {

bool hasRunOfSpaces(const QString &text) { return text.contains(u"  "_qs); }

/// The engine leaves the space of a word that it drops.
QString withoutRunsOfSpaces(QString text) {
    static const QRegularExpression run(u" {2,}"_qs);
    return text.replace(run, u" "_qs);
}

/// The engine begins with a capital now and then; an abbreviation keeps its own.
QString withLowerCaseStart(QString text) {
    const bool isAbbreviation = text.size() > 1 && (text[1].isUpper() || text[1] == u'.');
    if (!text.isEmpty() && text[0].isUpper() && !isAbbreviation)
        text[0] = text[0].toLower();
    return text;
}

QString fitted(const QString &translation, const QString &passage) {
    QString text = translation.trimmed();
    if (text.isEmpty())
        return passage;
    if (!hasRunOfSpaces(passage))
        text = withoutRunsOfSpaces(std::move(text));
    return passage[0].isLower() ? withLowerCaseStart(std::move(text)) : text;
}

bool isWordCharacter(QChar character) { return character.isLetterOrNumber() || character.isSurrogate(); }

} // namespace

TextLayout::TextLayout(const QString &text) {
    // A passage: from its line's first visible character to the last.
    static const QRegularExpression visible(uR"([^\s\0](?:[^\n\r\v\f\0\x{85}\x{2028}\x{2029}]*[^\s\0])?)"_qs,
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
    for (const Part &part : m_parts)
        text += part.isPassage ? fitted(*translation++, part.text) : part.text;
    return text;
}

} // namespace quillora::platform
