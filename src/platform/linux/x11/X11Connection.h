#pragma once

#include "platform/linux/x11/X11Reply.h"

#include <QByteArray>
#include <QObject>

#include <deque>
#include <map>
#include <xcb/xcb.h>

class QSocketNotifier;

namespace quillora::platform {

/// This program's own connection to the X server, apart from the toolkit's. Main thread only.
///
/// Other programs' windows may vanish at any moment, so a failed request is an ordinary outcome: it gives no
/// reply and is otherwise forgotten. A connection that could not be made or has been lost behaves the same
/// way: nothing crashes, nothing is answered.
class X11Connection : public QObject {
    Q_OBJECT

public:
    /// An empty name means the session's own display.
    explicit X11Connection(const QByteArray &displayName = {}, QObject *parent = nullptr);
    ~X11Connection() override;

    bool isUsable() const;

    xcb_connection_t *xcb() const { return m_xcb; }

    /// The root window of the default screen.
    xcb_window_t root() const { return m_root; }

    /// Asked of the server once and then remembered.
    xcb_atom_t atom(const QByteArray &name);

    /// Waits for the reply to a request; none if the request failed.
    template <typename T, typename Cookie>
    X11Reply<T> reply(T *(*function)(xcb_connection_t *, Cookie, xcb_generic_error_t **), Cookie cookie) {
        xcb_generic_error_t *error = nullptr;
        X11Reply<T> answer(function(m_xcb, cookie, &error));
        std::free(error);
        dispatchLater();
        return answer;
    }

    /// Waits for the outcome of a checked request that has no reply.
    bool succeeds(xcb_void_cookie_t cookie);

    /// Sends what has been requested so far.
    void flush();

    /// Returns once the server has done what has been requested so far.
    void sync();

    /// The server's clock at this moment, for requests that must not look older than the user's last action.
    xcb_timestamp_t serverTime();

    /// Whether the server has the extension. A request of one that it lacks would end the connection.
    bool has(xcb_extension_t &extension) const;

    /// Adds to the events that the root window reports to this connection.
    void selectRootEvents(uint32_t eventMask);

Q_SIGNALS:
    /// From the event loop, for every event that is not an error. The event ends with the emission.
    void eventReceived(const xcb_generic_event_t *event);

    /// Once, from the event loop, when the server has closed the connection.
    void lost();

private:
    void dispatch();
    void dispatchLater();
    X11Reply<xcb_generic_event_t> nextEvent();

    xcb_connection_t *m_xcb;
    xcb_window_t m_root = XCB_NONE;
    xcb_window_t m_clockWindow = XCB_NONE; ///< never mapped; a change to it makes the server tell the time
    uint32_t m_rootEventMask = 0;
    std::map<QByteArray, xcb_atom_t> m_atoms;
    std::deque<X11Reply<xcb_generic_event_t>>
        m_setAside; ///< events that came before a time that was waited for
    QSocketNotifier *m_notifier = nullptr;
    bool m_isDispatchPending = false;
};

} // namespace quillora::platform
