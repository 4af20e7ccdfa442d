#include "platform/linux/x11/X11ToolkitConnection.h"

#include "platform/linux/x11/X11Reply.h"

#include <QGuiApplication>

#include <cstring>

namespace quillora::platform {

xcb_connection_t *toolkitConnection() {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *connection, const char *name) {
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace quillora::platform
