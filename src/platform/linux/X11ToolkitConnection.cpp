#include "platform/linux/x11/X11ToolkitConnection.h"

#include <QGuiApplication>

namespace quillora::platform {

xcb_connection_t *toolkitConnection() {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

} // namespace quillora::platform
