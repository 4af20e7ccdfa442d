#include "platform/linux/recognition/JoinedTexts.h"

#include <QChar>
#include <QList>

namespace quillora::platform {

namespace {

/// Punctuation of these writings stands in blocks of its own and belongs to no script.
bool isWidePunctuation(char32_t letter) {
    return (letter >= 0x3000 && letter <= 0x303F) || (letter >= 0xFF00 && letter <= 0xFFEF);
}

bool isWrittenWithoutBlanks(char32_t letter) {
    switch (QChar::script(letter)) {
    case QChar::Script_Han:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
    case QChar::Script_Bopomofo:
    case QChar::Script_Thai:
    case QChar::Script_Lao:
    case QChar::Script_Khmer:
    case QChar::Script_Myanmar:
        return true;
    default:
        return isWidePunctuation(letter);
    }
}

// A letter is one unit of a text, or two.
char32_t firstLetter(const QString &text) { return text.left(2).toUcs4().constFirst(); }
char32_t lastLetter(const QString &text) { return text.right(2).toUcs4().constLast(); }

} // namespace

QString joinTexts(const QString &first, const QString &second) {
    if (first.isEmpty() || second.isEmpty())
        return first + second;
    const bool isWithoutBlank =
        isWrittenWithoutBlanks(lastLetter(first)) || isWrittenWithoutBlanks(firstLetter(second));
    return isWithoutBlank ? first + second : first + u' ' + second;
}

} // namespace quillora::platform
