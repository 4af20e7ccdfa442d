#pragma once

#include "platform/linux/x11/X11SelectionConnection.h"
#include "platform/linux/x11/X11SelectionContents.h"

#include <QObject>

namespace quillora::platform {

/// Reads what other programs hold on a selection. Main thread only.
class X11SelectionReader {
public:
    explicit X11SelectionReader(const QByteArray &displayName) : m_connection(displayName) {}

    /// Everything that the selection's owner gives before the deadline, in the owner's order; nothing if
    /// nobody owns it. A value that arrived in part is left out.
    ///
    /// What our own toolkit holds is taken from its memory. All values are asked for at once, so that one
    /// that never comes does not hold back the others. Targets that do something, or that describe the owner
    /// rather than what it holds, are not asked for.
    X11SelectionContents read(const QByteArray &selection, const QDeadlineTimer &deadline);

private:
    class Reading;

    xcb_window_t owner(const QByteArray &selection, const QDeadlineTimer &deadline);

    void retire(std::vector<xcb_window_t> windows);

    X11SelectionConnection m_connection;
    QObject m_retirement; ///< context of the delayed destruction of windows
};

} // namespace quillora::platform
