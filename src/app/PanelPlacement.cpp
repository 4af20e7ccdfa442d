#include "app/PanelPlacement.h"

#include <algorithm>

namespace quillora {

namespace {

/// The near edge wins where the panel is larger than the room.
int within(int position, int length, int roomStart, int roomLength) {
    return std::max(roomStart, std::min(position, roomStart + roomLength - length));
}

} // namespace

QRect placePanel(const QSize &panel, const std::optional<QRect> &anchor, const QPoint &pointer,
                 const QRect &available) {
    QPoint position;
    if (anchor) {
        const bool isLow = anchor->center().y() > available.center().y();
        position.setX(anchor->center().x() - panel.width() / 2);
        position.setY(isLow ? anchor->top() - panel.height() : anchor->bottom() + 1);
    } else {
        const bool isLow = pointer.y() > available.center().y();
        const bool isRight = pointer.x() > available.center().x();
        position.setX(isRight ? available.right() + 1 - panel.width() : available.left());
        position.setY(isLow ? available.bottom() + 1 - panel.height() : available.top());
    }
    return {QPoint(within(position.x(), panel.width(), available.x(), available.width()),
                   within(position.y(), panel.height(), available.y(), available.height())),
            panel};
}

} // namespace quillora
