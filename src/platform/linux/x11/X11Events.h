#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <QObject>
#include <QSocketNotifier>

#include <optional>

namespace quillora::platform {

/// Tells of a connection's events, and of its loss, from the event loop. Main thread only, one at a time.
class X11Events : public QObject {
    Q_OBJECT

public:
    /// `connection` must outlive this object, which takes all its events.
    explicit X11Events(X11Connection &connection);
    ~X11Events() override;

    X11Connection &connection() const { return m_connection; }

    /// Adds to the events that the root window reports to the connection.
    void selectRootEvents(uint32_t eventMask);

Q_SIGNALS:
    /// For every event that is not an error. The event ends with the emission.
    void received(const xcb_generic_event_t *event);

    /// Once, when the server has closed the connection.
    void lost();

private:
    void dispatch();
    void dispatchLater();

    X11Connection &m_connection;
    uint32_t m_rootEventMask = 0;
    std::optional<QSocketNotifier> m_notifier; ///< none for a connection that could not be made
    bool m_isDispatchPending = false;
};

} // namespace quillora::platform
