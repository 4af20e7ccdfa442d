#pragma once

#include "platform/linux/DesktopSession.h"
#include "platform/linux/x11/X11Events.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "platform/linux/x11/X11OwnWindows.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "platform/linux/x11/X11Workspace.h"

#include <functional>

namespace quillora::platform {

/// A desktop that is an X server and whatever manages its windows. Everything but the clipboard shares one
/// connection. Without a server every facility is there and does nothing.
class X11Session final : public DesktopSession {
public:
    /// `lost` is called from the event loop when the server has gone.
    explicit X11Session(const std::function<void()> &lost);

    HotKeys &hotKeys() override { return m_hotKeys; }
    Keystrokes &keystrokes() override { return m_keystrokes; }
    OwnWindows &ownWindows() override { return m_ownWindows; }
    Pasteboard &pasteboard() override { return m_pasteboard; }
    Workspace &workspace() override { return m_workspace; }
    void leave() override;
    const char *lossReason() override;

private:
    X11Connection m_connection;
    X11Events m_events{m_connection};
    X11Workspace m_workspace{m_events};
    X11OwnWindows m_ownWindows{m_connection};
    X11Pasteboard m_pasteboard;
    X11HotKeys m_hotKeys{m_events};
    X11Keystrokes m_keystrokes{m_events, m_hotKeys, [this] { m_pasteboard.lendToPrimary(); }};
};

} // namespace quillora::platform
