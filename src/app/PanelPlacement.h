#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

namespace quillora {

/// Where a panel may be: in `available`, the part of `screen` that is free of bars, on the side of the anchor
/// that is away from the edge that the anchor's bar stands on.
QRect roomForPanel(const std::optional<QRect> &anchor, const QRect &screen, const QRect &available);

/// Where a panel of the given size goes, wholly inside `room` as far as it fits there.
///
/// It is as near to the middle of the anchor as it can be. Without an anchor it goes into the corner that is
/// nearest to the pointer, which is where people have their tray.
QRect placePanel(const QSize &panel, const std::optional<QRect> &anchor, const QPoint &pointer,
                 const QRect &room);

} // namespace quillora
