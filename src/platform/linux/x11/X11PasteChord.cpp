#include "platform/linux/x11/X11PasteChord.h"

#include <algorithm>

namespace quillora::platform {

namespace {

struct Program {
    const char *windowClass;
    X11PasteChord chord;
};

/// Programs in which Ctrl+V does not paste, as they come.
constexpr Program programs[] = {
    {"Alacritty", X11PasteChord::controlShiftV},
    {"Aterm", X11PasteChord::shiftInsertPrimary},
    {"com.mitchellh.ghostty", X11PasteChord::controlShiftV},
    {"cool-retro-term", X11PasteChord::controlShiftV},
    {"deepin-terminal", X11PasteChord::controlShiftV},
    {"Emacs", X11PasteChord::shiftInsert}, // not Ctrl+Y, which Vim's keys in Emacs take away
    {"Eterm", X11PasteChord::shiftInsertPrimary},
    {"foot", X11PasteChord::controlShiftV},
    {"Gnome-terminal", X11PasteChord::controlShiftV},
    {"Guake", X11PasteChord::controlShiftV},
    {"Gvim", X11PasteChord::shiftInsertPrimary}, // in every mode, where Vim's example or Debian sets it up
    {"Hyper", X11PasteChord::controlShiftV},
    {"Io.elementary.terminal", X11PasteChord::controlShiftV},
    {"Kgx", X11PasteChord::controlShiftV},
    {"kitty", X11PasteChord::controlShiftV},
    {"konsole", X11PasteChord::controlShiftV},
    {"KTerm", X11PasteChord::shiftInsertPrimary},
    {"Lxterminal", X11PasteChord::controlShiftV},
    {"Mate-terminal", X11PasteChord::controlShiftV},
    {"Mlterm", X11PasteChord::shiftInsertPrimary},
    {"Org.gnome.Console", X11PasteChord::controlShiftV},
    {"Org.gnome.Ptyxis", X11PasteChord::controlShiftV},
    {"org.wezfurlong.wezterm", X11PasteChord::controlShiftV},
    {"qterminal", X11PasteChord::controlShiftV},
    {"Roxterm", X11PasteChord::controlShiftV},
    {"Rxvt", X11PasteChord::shiftInsertPrimary},
    {"Sakura", X11PasteChord::controlShiftV},
    {"St", X11PasteChord::controlShiftV},
    {"St-256color", X11PasteChord::controlShiftV},
    {"Terminator", X11PasteChord::controlShiftV},
    {"Terminology", X11PasteChord::controlShiftV},
    {"Tilda", X11PasteChord::controlShiftV},
    {"Tilix", X11PasteChord::controlShiftV},
    {"URxvt", X11PasteChord::shiftInsertPrimary},
    {"UXTerm", X11PasteChord::shiftInsertPrimary},
    {"Wterm", X11PasteChord::shiftInsertPrimary},
    {"Xfce4-terminal", X11PasteChord::controlShiftV},
    {"XTerm", X11PasteChord::shiftInsertPrimary},
    {"yakuake", X11PasteChord::controlShiftV},
};

} // namespace

X11PasteChord pasteChordFor(const std::optional<QString> &windowClass) {
    const auto *program = std::ranges::find_if(programs, [&](const Program &known) {
        return windowClass &&
               windowClass->compare(QLatin1StringView(known.windowClass), Qt::CaseInsensitive) == 0;
    });
    return program == std::end(programs) ? X11PasteChord::controlV : program->chord;
}

} // namespace quillora::platform
