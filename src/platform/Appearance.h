#pragma once

#include <QtGlobal>

#include <functional>
#include <optional>

namespace quillora::platform {

/// How the user wants programs to look. What the desktop has not told (yet) reads as no preference. Main
/// thread only.
class Appearance {
public:
    enum class ColorScheme { noPreference, dark, light };

    /// In sRGB, each part from 0 to 1.
    struct Color {
        double red = 0;
        double green = 0;
        double blue = 0;

        bool operator==(const Color &) const = default;
    };

    struct Preferences {
        ColorScheme colorScheme = ColorScheme::noPreference;
        std::optional<Color> accentColor;
        bool wantsHighContrast = false;

        bool operator==(const Preferences &) const = default;
    };

    using ObserverToken = quint64;

    virtual ~Appearance() = default;

    /// Never waits for the desktop.
    virtual Preferences preferences() const = 0;

    /// Calls `handler` from the event loop whenever the preferences have changed.
    virtual ObserverToken addObserver(std::function<void()> handler) = 0;

    /// The handler is not called any more.
    virtual void removeObserver(ObserverToken observer) = 0;
};

} // namespace quillora::platform
