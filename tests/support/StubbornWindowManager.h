#pragma once

#include "support/XcbClient.h"

namespace quillora::test {

/// A window manager that gives no window the focus because its program asks for it, as those do that prevent
/// the stealing of focus. Whatever else windows want it lets the server do.
class StubbornWindowManager {
public:
    explicit StubbornWindowManager(const QByteArray &displayName);

    /// The user turns to a window.
    void activate(xcb_window_t window);

private:
    void set(xcb_window_t window, const QByteArray &property, xcb_atom_t type, uint32_t value);

    XcbClient m_client;
};

} // namespace quillora::test
