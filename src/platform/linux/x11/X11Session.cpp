#include "platform/linux/x11/X11Session.h"

namespace quillora::platform {

X11Session::X11Session(const std::function<void()> &lost) {
    QObject::connect(&m_events, &X11Events::lost, &m_events, lost);
}

/// A hotkey that is down has the whole keyboard, and a clipboard manager may take its time.
void X11Session::leave() {
    m_hotKeys.releaseActiveGrab();
    m_pasteboard.handOver();
}

/// The toolkit's connection may be closed while the server is there.
const char *X11Session::lossReason() {
    m_connection.sync();
    return m_connection.isUsable() ? "the desktop has closed a connection"
                                   : "the X server has closed the connection";
}

} // namespace quillora::platform
