#include "platform/linux/x11/X11KeysDown.h"

namespace quillora::platform {

X11KeysDown::X11KeysDown(X11Connection &connection)
    : m_keys(connection.reply(xcb_query_keymap_reply, xcb_query_keymap(connection.xcb()))) {}

bool X11KeysDown::contains(xcb_keycode_t keycode) const {
    return m_keys && (m_keys->keys[keycode / 8] & (1 << (keycode % 8))) != 0;
}

} // namespace quillora::platform
