#include "platform/linux/X11ToolkitConnection.h"

#include "platform/linux/X11Reply.h"

#include <QGuiApplication>

namespace quillora::platform {

xcb_connection_t *toolkitConnection() {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

const xcb_screen_t *toolkitScreen() {
    return xcb_setup_roots_iterator(xcb_get_setup(toolkitConnection())).data;
}

xcb_atom_t atomOf(const QByteArray &name) {
    auto *xcb = toolkitConnection();
    const auto question = xcb_intern_atom(xcb, 0, uint16_t(name.size()), name.constData());
    const X11Reply<xcb_intern_atom_reply_t> answer(xcb_intern_atom_reply(xcb, question, nullptr));
    return answer ? answer->atom : xcb_atom_t(XCB_NONE);
}

} // namespace quillora::platform
