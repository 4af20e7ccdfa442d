#pragma once

#include "platform/linux/x11/X11SelectionContents.h"

#include <QClipboard>

#include <optional>

#include <xcb/xcb.h>

namespace quillora::platform {

/// What our own toolkit holds on a selection, because the user copied or selected something in one of our
/// windows. It would be asked in vain from outside while the main thread waits for the answer.
struct X11ToolkitSelection {
    /// Whether the toolkit holds something, as far as it knows. Main thread only.
    static bool isHeld(QClipboard::Mode mode);

    /// Nothing if the window that owns the selection is none of the toolkit's. Main thread only.
    static std::optional<X11SelectionContents> contents(QClipboard::Mode mode, xcb_window_t owner);
};

} // namespace quillora::platform
