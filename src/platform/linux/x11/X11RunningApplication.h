#pragma once

#include "platform/Workspace.h"
#include "platform/linux/x11/X11Connection.h"

#include <QPointer>

namespace quillora::platform {

/// The program behind a top-level window, remembered as it was when the window was seen.
class X11RunningApplication final : public RunningApplication {
public:
    X11RunningApplication(X11Connection &connection, xcb_window_t window);

    /// The window's class; this program's own identifier for any window of this process.
    std::optional<QString> bundleIdentifier() const override { return m_identifier; }

    /// Raises the window, from an icon or another desktop too, and gives it the keyboard. A window that is
    /// gone is stood in for by the topmost other one of its program.
    void activate() override;

private:
    std::optional<xcb_window_t> presentWindow() const;

    QPointer<X11Connection> m_connection;
    xcb_window_t m_window;
    std::optional<QString> m_identifier;
    std::optional<quint32> m_processId;
};

} // namespace quillora::platform
