#include "platform/linux/x11/X11PasteChord.h"

#include <QStringList>

namespace quillora::platform {

namespace {

/// Terminals that paste the clipboard by Ctrl+Shift+V, as they come.
const QStringList &clipboardTerminals() {
    static const QStringList classes = {
        u"Alacritty"_qs,
        u"Gnome-terminal"_qs,
        u"Guake"_qs,
        u"Hyper"_qs,
        u"Io.elementary.terminal"_qs,
        u"Kgx"_qs,
        u"Lxterminal"_qs,
        u"Mate-terminal"_qs,
        u"Org.gnome.Console"_qs,
        u"Org.gnome.Ptyxis"_qs,
        u"Roxterm"_qs,
        u"Sakura"_qs,
        u"St"_qs,
        u"St-256color"_qs,
        u"Terminator"_qs,
        u"Terminology"_qs,
        u"Tilda"_qs,
        u"Tilix"_qs,
        u"Xfce4-terminal"_qs,
        u"com.mitchellh.ghostty"_qs,
        u"cool-retro-term"_qs,
        u"deepin-terminal"_qs,
        u"foot"_qs,
        u"kitty"_qs,
        u"konsole"_qs,
        u"org.wezfurlong.wezterm"_qs,
        u"qterminal"_qs,
        u"yakuake"_qs,
    };
    return classes;
}

/// Terminals that only know the primary selection, as they come.
const QStringList &primarySelectionTerminals() {
    static const QStringList classes = {
        u"Aterm"_qs, u"Eterm"_qs, u"KTerm"_qs,  u"Mlterm"_qs, u"Rxvt"_qs,
        u"URxvt"_qs, u"Wterm"_qs, u"UXTerm"_qs, u"XTerm"_qs,
    };
    return classes;
}

} // namespace

X11PasteChord pasteChordFor(const std::optional<QString> &windowClass) {
    if (!windowClass)
        return X11PasteChord::controlV;
    if (clipboardTerminals().contains(*windowClass, Qt::CaseInsensitive))
        return X11PasteChord::controlShiftV;
    if (primarySelectionTerminals().contains(*windowClass, Qt::CaseInsensitive))
        return X11PasteChord::shiftInsert;
    return X11PasteChord::controlV;
}

} // namespace quillora::platform
