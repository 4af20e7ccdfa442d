#include "platform/linux/x11/X11StickyKeys.h"

#include "platform/linux/x11/X11Xkb.h"

namespace quillora::platform {

X11StickyKeys::X11StickyKeys(X11Connection &connection) : m_connection(connection) {
    if (!connection.has(xcb_xkb_id)) // or the request would end the connection
        return;
    const auto controls = connection.reply(xcb_xkb_get_controls_reply,
                                           xcb_xkb_get_controls(connection.xcb(), XCB_XKB_ID_USE_CORE_KBD));
    if (!controls || !(controls->enabledControls & XCB_XKB_BOOL_CTRL_STICKY_KEYS) ||
        !(controls->accessXOption & XCB_XKB_AX_OPTION_TWO_KEYS))
        return;
    m_options = controls->accessXOption;
    setOptions(static_cast<uint16_t>(m_options & ~XCB_XKB_AX_OPTION_TWO_KEYS));
}

X11StickyKeys::~X11StickyKeys() {
    if (!m_options)
        return;
    setOptions(m_options);
    m_connection.flush();
}

void X11StickyKeys::setOptions(uint16_t options) {
    constexpr uint32_t itsOptions = XCB_XKB_BOOL_CTRL_STICKY_KEYS;
    constexpr uint8_t noRepeat[32] = {};
    xcb_xkb_set_controls(m_connection.xcb(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, options,
                         0, 0, itsOptions, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, noRepeat);
}

} // namespace quillora::platform
