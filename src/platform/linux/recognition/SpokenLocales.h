#pragma once

#include <QStringList>

namespace quillora::platform {

using namespace Qt::StringLiterals;

/// The locales that are offered to speakers, as far as a model hears their language.
inline const QStringList &spokenLocales() {
    static const QStringList locales{u"en-US"_s, u"en-GB"_s, u"ru-RU"_s, u"es-ES"_s, u"fr-FR"_s, u"de-DE"_s,
                                     u"it-IT"_s, u"pt-BR"_s, u"pt-PT"_s, u"nl-NL"_s, u"uk-UA"_s, u"pl-PL"_s,
                                     u"zh-CN"_s, u"ja-JP"_s, u"ko-KR"_s, u"tr-TR"_s, u"ar-SA"_s, u"vi-VN"_s,
                                     u"id-ID"_s, u"th-TH"_s, u"kk-KZ"_s, u"uz-UZ"_s, u"ky-KG"_s};
    return locales;
}

} // namespace quillora::platform
