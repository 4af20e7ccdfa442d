#include "platform/linux/tray/TrayGeometry.h"

#include <QGuiApplication>
#include <QScreen>

namespace quillora::platform {

QPoint fromDevicePixels(const QPoint &place) {
    for (const QScreen *screen : QGuiApplication::screens()) {
        const QPoint origin = screen->geometry().topLeft();
        if (QRect(origin, screen->size() * screen->devicePixelRatio()).contains(place))
            return origin + (place - origin) / screen->devicePixelRatio();
    }
    return place;
}

} // namespace quillora::platform
