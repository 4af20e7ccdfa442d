#pragma once

#include "platform/LocaleServices.h"

#include <QStringList>

#include <algorithm>
#include <map>

namespace quillora::test {

using namespace Qt::StringLiterals;

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
        {u"en-US"_s, u"English (United States)"_s},  {u"en-GB"_s, u"English (United Kingdom)"_s},
        {u"en-AU"_s, u"English (Australia)"_s},      {u"ru-RU"_s, u"Russian (Russia)"_s},
        {u"es-ES"_s, u"Spanish (Spain)"_s},          {u"es-MX"_s, u"Spanish (Mexico)"_s},
        {u"es-419"_s, u"Spanish (Latin America)"_s}, {u"kk-KZ"_s, u"Kazakh (Kazakhstan)"_s},
        {u"nl-NL"_s, u"Dutch (Netherlands)"_s},      {u"ar"_s, u"Arabic"_s},
        {u"sv-SE"_s, u"Swedish (Sweden)"_s},         {u"de-DE"_s, u"German (Germany)"_s},
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
