#include "platform/linux/translation/apertium/ApertiumSpelling.h"

#include <QRegularExpression>

namespace quillora::platform {

namespace {

bool hasRunOfSpaces(const QString &text) { return text.contains(u"  "_qs); }

QString withoutRunsOfSpaces(QString text) {
    static const QRegularExpression run(u" {2,}"_qs);
    return text.replace(run, u" "_qs);
}

bool isAbbreviation(const QString &text) { return text.size() > 1 && (text[1].isUpper() || text[1] == u'.'); }

/// Whether a word may have its capital within a sentence too: any noun in German, the pronoun in English.
bool keepsItsCapital(const QString &text, const QString &language) {
    static const QRegularExpression pronoun(uR"(^I(?!\w))"_qs,
                                            QRegularExpression::UseUnicodePropertiesOption);
    return isAbbreviation(text) || language == u"de"_qs || (language == u"en"_qs && text.contains(pronoun));
}

} // namespace

QString spelledForApertium(QString passage, const QString &language) {
    static const QRegularExpression pronoun(uR"(\bi\b(?![.\-@/]))"_qs,
                                            QRegularExpression::UseUnicodePropertiesOption);
    return language == u"en"_qs ? passage.replace(pronoun, u"I"_qs) : passage;
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
