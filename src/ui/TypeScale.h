#pragma once

#include <QFont>

#include <algorithm>

namespace quillora::typescale {

// Type sizes of the panel and the windows beside it, relative to the desktop's own.
inline constexpr double headline = 1.15;
inline constexpr double callout = 0.95;
inline constexpr double caption = 0.88;

inline QFont scaled(QFont font, double scale) {
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * scale);
    else
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * scale)));
    return font;
}

inline QFont semibold(QFont font) {
    font.setWeight(QFont::DemiBold);
    return font;
}

} // namespace quillora::typescale
