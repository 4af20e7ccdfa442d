#include "platform/linux/translation/apertium/ApertiumSpelling.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

bool hasRunOfSpaces(const QString &text) { return text.contains(u"  "_s); }

QString withoutRunsOfSpaces(QString text) {
    static const QRegularExpression run(u" {2,}"_s);
    return text.replace(run, u" "_s);
}

bool isAbbreviation(const QString &text) { return text.size() > 1 && (text[1].isUpper() || text[1] == u'.'); }

/// Whether a word may have its capital within a sentence too: any noun in German, the pronoun in English.
bool keepsItsCapital(const QString &text, const QString &language) {
    static const QRegularExpression pronoun(uR"(^I(?!\w))"_s, QRegularExpression::UseUnicodePropertiesOption);
    return isAbbreviation(text) || language == u"de"_s || (language == u"en"_s && text.contains(pronoun));
}

} // namespace

QString spelledForApertium(QString passage, const QString &language) {
    static const QRegularExpression pronoun(uR"(\bi\b(?![.\-@/]))"_s,
                                            QRegularExpression::UseUnicodePropertiesOption);
    return language == u"en"_s ? passage.replace(pronoun, u"I"_s) : passage;
}

QString spelledLikePassage(QString translation, const QString &passage, const QString &language) {
    QString text = translation.trimmed();
    if (!hasRunOfSpaces(passage))
        text = withoutRunsOfSpaces(std::move(text));
    const bool beginsSmall = !passage.isEmpty() && passage[0].isLower();
    if (beginsSmall && !text.isEmpty() && text[0].isUpper() && !keepsItsCapital(text, language))
        text[0] = text[0].toLower();
    return text;
}

} // namespace quillora::platform
