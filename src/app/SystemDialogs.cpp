#include "app/SystemDialogs.h"

#include <QStringView>

#include <algorithm>
#include <array>

namespace quillora {

bool isSystemDialog(const QString &bundleIdentifier) {
    static constexpr std::array<QStringView, 9> prefixes{
        u"gcr-prompter", u"kwalletd", u"ksecretd",    u"lxpolkit",           u"lxqt-policykit",
        u"pinentry",     u"polkit",   u"xfce-polkit", u"xdg-desktop-portal",
    };
    return std::any_of(prefixes.begin(), prefixes.end(), [&](QStringView prefix) {
        return bundleIdentifier.startsWith(prefix, Qt::CaseInsensitive);
    });
}

} // namespace quillora
