#include "ui/PanelPalette.h"

#include <cmath>

namespace quillora {

namespace {

constexpr double textContrast = 4.5;
constexpr double shapeContrast = 3.0;

/// Relative luminance of an sRGB colour.
double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x24, 0x26, 0x29);
    const QColor text(0xf2, 0xf3, 0xf5);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::Base, QColor(0x1a, 0x1c, 0x1e));
    palette.setColor(QPalette::AlternateBase, QColor(0x20, 0x22, 0x24));
    palette.setColor(QPalette::Button, QColor(0x36, 0x39, 0x3d));
    palette.setColor(QPalette::ToolTipBase, QColor(0x36, 0x39, 0x3d));
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText})
        palette.setColor(role, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Light, QColor(0x4a, 0x4e, 0x53));
    palette.setColor(QPalette::Midlight, QColor(0x40, 0x43, 0x48));
    palette.setColor(QPalette::Dark, QColor(0x14, 0x15, 0x17));
    palette.setColor(QPalette::Shadow, Qt::black);
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xe0));
    palette.setColor(QPalette::Link, QColor(0x6c, 0xb0, 0xf5));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, PanelPalette::blend(text, window, 0.4));
    return palette;
}

QColor towards(const QColor &color, const QColor &end, double ratio, const QColor &background) {
    for (int step = 0; step <= 20; ++step) {
        const QColor candidate = PanelPalette::blend(end, color, step / 20.0);
        if (PanelPalette::contrast(candidate, background) >= ratio)
            return candidate;
    }
    return end;
}

/// As a surface with text on it. A bright accent keeps its brightness and gets black text.
QColor accentSurface(const QColor &accent) {
    return PanelPalette::contrast(accent, Qt::white) >= shapeContrast
               ? towards(accent, Qt::black, textContrast, Qt::white)
               : accent;
}

QColor shape(const QPalette &palette, const QColor &onLight, const QColor &onDark) {
    return PanelPalette::withContrast(PanelPalette::isDark(palette) ? onDark : onLight,
                                      palette.color(QPalette::Window), shapeContrast);
}

} // namespace

QPalette PanelPalette::from(const QPalette &desktop, const platform::Appearance::Preferences &preferences) {
    using ColorScheme = platform::Appearance::ColorScheme;
    const bool desktopMissedDark = preferences.colorScheme == ColorScheme::dark && !isDark(desktop);
    QPalette palette = desktopMissedDark ? darkPalette() : desktop;

    const QColor window = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    const auto &told = preferences.accentColor;
    const QColor accent =
        accentSurface(told ? QColor::fromRgbF(static_cast<float>(told->red), static_cast<float>(told->green),
                                              static_cast<float>(told->blue))
                           : palette.color(QPalette::Active, QPalette::Highlight));
    const bool isStrong = preferences.wantsHighContrast;
    const QColor secondary = isStrong ? text : withContrast(blend(text, window, 0.66), window, textContrast);
    const QColor outline = isStrong ? text : blend(text, window, 0.24);

    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        palette.setColor(group, QPalette::Highlight, accent);
        palette.setColor(group, QPalette::HighlightedText, textOn(accent));
        palette.setColor(group, QPalette::PlaceholderText, secondary);
        palette.setColor(group, QPalette::Mid, outline);
    }
    return palette;
}

QColor PanelPalette::accentText(const QPalette &palette) {
    return withContrast(palette.color(QPalette::Highlight), palette.color(QPalette::Window), textContrast);
}

QColor PanelPalette::recording(const QPalette &palette) {
    return shape(palette, QColor(0xd9, 0x2d, 0x20), QColor(0xff, 0x5a, 0x4f));
}

QColor PanelPalette::processing(const QPalette &palette) {
    return shape(palette, QColor(0xd2, 0x6f, 0x00), QColor(0xff, 0xa2, 0x33));
}

QColor PanelPalette::idle(const QPalette &palette) {
    return shape(palette, QColor(0x24, 0x8a, 0x3d), QColor(0x3f, 0xcf, 0x6a));
}

QColor PanelPalette::recordingSurface() { return {0xd0, 0x2b, 0x1f}; }

QColor PanelPalette::textOn(const QColor &surface) {
    return contrast(surface, Qt::white) >= textContrast ? Qt::white : Qt::black;
}

QColor PanelPalette::withContrast(const QColor &color, const QColor &background, double ratio) {
    const bool darkBackground = contrast(background, Qt::white) > contrast(background, Qt::black);
    return towards(color, darkBackground ? Qt::white : Qt::black, ratio, background);
}

double PanelPalette::contrast(const QColor &a, const QColor &b) {
    const double first = luminance(a) + 0.05;
    const double second = luminance(b) + 0.05;
    return first > second ? first / second : second / first;
}

QColor PanelPalette::blend(const QColor &over, const QColor &under, double share) {
    const auto mix = [share](float a, float b) { return static_cast<float>(a * share + b * (1 - share)); };
    return QColor::fromRgbF(mix(over.redF(), under.redF()), mix(over.greenF(), under.greenF()),
                            mix(over.blueF(), under.blueF()));
}

bool PanelPalette::isDark(const QPalette &palette) {
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
}

} // namespace quillora
