#include "app/PanelPlacement.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quillora {

namespace {

/// The near edge wins where the panel is larger than the room.
int within(int position, int length, int roomStart, int roomLength) {
    return std::max(roomStart, std::min(position, roomStart + roomLength - length));
}

enum class Edge { top, bottom, left, right };

/// The edge that the bar around the anchor stands on: the one that the bar keeps free of windows, else the
/// nearest one. Most bars lie, so the upper and the lower one come first.
Edge edgeOf(const QRect &anchor, const QRect &screen, const QRect &available) {
    const QPoint centre = anchor.center();
    if (centre.y() < available.top())
        return Edge::top;
    if (centre.y() > available.bottom())
        return Edge::bottom;
    if (centre.x() < available.left())
        return Edge::left;
    if (centre.x() > available.right())
        return Edge::right;
    const std::array distances{std::pair(centre.y() - screen.top(), Edge::top),
                               std::pair(screen.bottom() - centre.y(), Edge::bottom),
                               std::pair(centre.x() - screen.left(), Edge::left),
                               std::pair(screen.right() - centre.x(), Edge::right)};
    return std::ranges::min_element(distances)->second;
}

/// What is left of `available` beyond the anchor, seen from that edge.
QRect roomBeyond(const QRect &anchor, Edge edge, QRect available) {
    switch (edge) {
    case Edge::top:
        available.setTop(std::max(available.top(), anchor.bottom() + 1));
        break;
    case Edge::bottom:
        available.setBottom(std::min(available.bottom(), anchor.top() - 1));
        break;
    case Edge::left:
        available.setLeft(std::max(available.left(), anchor.right() + 1));
        break;
    case Edge::right:
        available.setRight(std::min(available.right(), anchor.left() - 1));
        break;
    }
    return available;
}

/// The corner of `room` that is nearest to a point.
QPoint cornerNear(const QPoint &point, const QSize &panel, const QRect &room) {
    const bool isLow = point.y() > room.center().y();
    const bool isRight = point.x() > room.center().x();
    return {isRight ? room.right() + 1 - panel.width() : room.left(),
            isLow ? room.bottom() + 1 - panel.height() : room.top()};
}

} // namespace

QRect roomForPanel(const std::optional<QRect> &anchor, const QRect &screen, const QRect &available) {
    return anchor ? roomBeyond(*anchor, edgeOf(*anchor, screen, available), available) : available;
}

QRect placePanel(const QSize &panel, const std::optional<QRect> &anchor, const QPoint &pointer,
                 const QRect &room) {
    const QPoint position = anchor ? anchor->center() - QPoint(panel.width() / 2, panel.height() / 2)
                                   : cornerNear(pointer, panel, room);
    return {QPoint(within(position.x(), panel.width(), room.x(), room.width()),
                   within(position.y(), panel.height(), room.y(), room.height())),
            panel};
}

} // namespace quillora
