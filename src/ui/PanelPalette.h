#pragma once

#include "platform/Appearance.h"

#include <QPalette>

namespace quillora {

/// The panel's colours: the desktop's own palette, completed so that every text keeps enough contrast.
class PanelPalette {
public:
    PanelPalette() = delete;

    /// A palette for the panel, whose widgets read `Highlight` as the accent, `PlaceholderText` as the
    /// secondary text and `Mid` as the outline of controls. Dark where the user prefers that and `desktop` is
    /// light.
    static QPalette from(const QPalette &desktop, const platform::Appearance::Preferences &preferences);

    /// The accent, strong enough to be read on the panel.
    static QColor accentText(const QPalette &palette);

    // What the controller is doing, strong enough to be seen on the panel.
    static QColor recording(const QPalette &palette);
    static QColor processing(const QPalette &palette);
    static QColor idle(const QPalette &palette);

    /// The surface of what stops a recording; white can be read on it.
    static QColor recordingSurface();

    /// What is written on a surface of the given colour: black or white.
    static QColor textOn(const QColor &surface);

    /// `color`, moved towards black or white until its contrast with `background` is at least `ratio`.
    static QColor withContrast(const QColor &color, const QColor &background, double ratio);

    /// From 1 (the same) to 21 (black and white).
    static double contrast(const QColor &a, const QColor &b);

    /// `share` of `over` laid on `under`.
    static QColor blend(const QColor &over, const QColor &under, double share);

    static bool isDark(const QPalette &palette);
};

} // namespace quillora
