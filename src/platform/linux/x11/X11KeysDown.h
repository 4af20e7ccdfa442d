#pragma once

#include "platform/linux/x11/X11Connection.h"

namespace quillora::platform {

/// Which keys are down at one moment, whoever holds them.
class X11KeysDown {
public:
    explicit X11KeysDown(X11Connection &connection);

    /// Whether the server has told it.
    bool isKnown() const { return m_keys != nullptr; }

    bool contains(xcb_keycode_t keycode) const;

private:
    X11Reply<xcb_query_keymap_reply_t> m_keys;
};

} // namespace quillora::platform
