#include "platform/linux/models/SafePath.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qsizetype longestPart = 255;
constexpr qsizetype mostParts = 16;

bool isUnsafe(QChar character) {
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return character == u'\\' || character == u':' || character == QChar::ReplacementCharacter;
    }
}

bool isSafePart(const QString &part) {
    return !part.isEmpty() && part != u".." && part.toUtf8().size() <= longestPart;
}

} // namespace

QString safePath(const QString &path) {
    if (path.isEmpty() || !path.isValidUtf16() || std::any_of(path.begin(), path.end(), isUnsafe))
        return {};
    QStringList parts = path.split(u'/');
    parts.removeIf([](const QString &part) { return part == u"."; });
    if (parts.isEmpty() || parts.size() > mostParts || !std::all_of(parts.begin(), parts.end(), isSafePart))
        return {};
    return parts.join(u'/');
}

bool isFolderName(const QString &name) {
    static const QRegularExpression pattern(u"\\A[A-Za-z0-9][A-Za-z0-9._-]{0,99}\\z"_s);
    return pattern.match(name).hasMatch();
}

QString twinKey(const QString &path) {
    // Upper case first: it knows letters that become two.
    return path.normalized(QString::NormalizationForm_KC)
        .toUpper()
        .toCaseFolded()
        .normalized(QString::NormalizationForm_KC);
}

} // namespace quillora::platform
