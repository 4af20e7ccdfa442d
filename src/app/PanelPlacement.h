#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

namespace quillora {

/// Where a panel of the given size goes, wholly inside `available` as far as it fits there.
///
/// It is centred under the anchor, or above it where that lies in the lower half. Without an anchor it goes
/// into the corner that is nearest to the pointer, which is where people have their tray.
QRect placePanel(const QSize &panel, const std::optional<QRect> &anchor, const QPoint &pointer,
                 const QRect &available);

} // namespace quillora
