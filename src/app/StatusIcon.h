#pragma once

#include "controller/DictationState.h"

#include <QIcon>
#include <QImage>
#include <QString>

#include <array>

namespace quillora {

/// How one state of the program looks in a tray.
class StatusIcon {
public:
    /// The sizes that trays ask for, in pixels.
    static constexpr std::array<int, 5> sizes{16, 22, 24, 32, 48};

    explicit StatusIcon(DictationState state);

    /// What the icon is called in the icon theme, where it is installed there and panels tint it themselves.
    const QString &name() const { return m_name; }

    /// The icon in its own colours, with an outline that sets it off from a light and from a dark panel.
    QImage image(int size) const;

    /// `image` in all sizes.
    QIcon icon() const;

private:
    QString m_name;
    QColor m_colour;
};

} // namespace quillora
