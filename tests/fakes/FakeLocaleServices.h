#pragma once

#include "platform/LocaleServices.h"

#include <QStringList>

#include <algorithm>
#include <map>

namespace quillora::test {

/// A user who reads English.
class FakeLocaleServices : public platform::LocaleServices {
public:
    Components components(const QString &localeIdentifier) const override {
        const QStringList pieces = QString(localeIdentifier).replace(u'_', u'-').split(u'-');
        const QString language = pieces.first();
        if (language.size() < 2 || language.size() > 3 || !isAsciiLetters(language))
            return {};
        Components components{language.toLower(), {}};
        for (const QString &piece : pieces.mid(1)) {
            if ((piece.size() == 2 && isAsciiLetters(piece)) || (piece.size() == 3 && isDigits(piece)))
                components.region = piece.toUpper();
        }
        return components;
    }

    std::optional<QString> localizedString(const QString &localeIdentifier) const override {
        const auto found = displayNames.find(localeIdentifier);
        return found == displayNames.end() ? std::nullopt : std::optional<QString>(found->second);
    }

    QString capitalized(const QString &text) const override {
        QString result = text.toLower();
        bool atStart = true;
        for (auto &character : result) {
            if (atStart && character.isLetter())
                character = character.toUpper();
            atStart = !character.isLetter();
        }
        return result;
    }

    int localizedCaseInsensitiveCompare(const QString &a, const QString &b) const override {
        return QString::compare(a, b, Qt::CaseInsensitive);
    }

    std::map<QString, QString> displayNames{
        {u"en-US"_qs, u"English (United States)"_qs},  {u"en-GB"_qs, u"English (United Kingdom)"_qs},
        {u"en-AU"_qs, u"English (Australia)"_qs},      {u"ru-RU"_qs, u"Russian (Russia)"_qs},
        {u"es-ES"_qs, u"Spanish (Spain)"_qs},          {u"es-MX"_qs, u"Spanish (Mexico)"_qs},
        {u"es-419"_qs, u"Spanish (Latin America)"_qs}, {u"kk-KZ"_qs, u"Kazakh (Kazakhstan)"_qs},
        {u"nl-NL"_qs, u"Dutch (Netherlands)"_qs},      {u"ar"_qs, u"Arabic"_qs},
        {u"sv-SE"_qs, u"Swedish (Sweden)"_qs},         {u"de-DE"_qs, u"German (Germany)"_qs},
    };

private:
    static bool isAsciiLetters(const QString &text) {
        return std::all_of(text.begin(), text.end(),
                           [](QChar c) { return c.isLetter() && c.unicode() < 128; });
    }
    static bool isDigits(const QString &text) {
        return std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    }
};

} // namespace quillora::test
