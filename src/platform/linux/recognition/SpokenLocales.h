#pragma once

#include <QStringList>

namespace quillora::platform {

/// The locales that are offered to speakers, as far as a model hears their language.
inline const QStringList &spokenLocales() {
    static const QStringList locales{u"en-US"_qs, u"en-GB"_qs, u"ru-RU"_qs, u"es-ES"_qs, u"fr-FR"_qs,
                                     u"de-DE"_qs, u"it-IT"_qs, u"pt-BR"_qs, u"pt-PT"_qs, u"nl-NL"_qs,
                                     u"uk-UA"_qs, u"pl-PL"_qs, u"zh-CN"_qs, u"ja-JP"_qs, u"ko-KR"_qs,
                                     u"tr-TR"_qs, u"ar-SA"_qs, u"vi-VN"_qs, u"id-ID"_qs, u"th-TH"_qs,
                                     u"kk-KZ"_qs, u"uz-UZ"_qs, u"ky-KG"_qs};
    return locales;
}

} // namespace quillora::platform
