#pragma once

#include "platform/linux/x11/X11Reply.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QObject>

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

class QSocketNotifier;

namespace quillora::platform {

/// This program's own connection to the X server, apart from the toolkit's. Main thread only.
///
/// Other programs' windows may vanish at any moment, so a failed request is an ordinary outcome: it gives no
/// reply and is otherwise forgotten. A connection that could not be made or has been lost behaves the same
/// way: nothing crashes, nothing is answered.
///
/// Every wait has a deadline; where none is named, it is `patience`.
class X11Connection : public QObject {
    Q_OBJECT

public:
    /// An empty name means the session's own display.
    explicit X11Connection(const QByteArray &displayName = {}, QObject *parent = nullptr);
    ~X11Connection() override;

    bool isUsable() const;

    /// Whether an answer was given up, and the server has not been heard of since. What it was asked for it
    /// may do yet.
    bool isSilent() const;

    /// How long the main thread waits for an answer. A screen on which a server hangs shows nothing in any
    /// case, so this is much more than a busy machine needs; but it costs that only once: there is no
    /// patience left with a silent server.
    QDeadlineTimer patience() const;

    xcb_connection_t *xcb() const { return m_xcb; }

    /// The root window of the default screen.
    xcb_window_t root() const { return m_root; }

    /// Asked of the server once and then remembered.
    xcb_atom_t atom(const QByteArray &name);

    /// The reply to a request, which is named by the function that XCB has for it; none if the request failed
    /// or the deadline passed.
    template <typename T, typename Cookie>
    X11Reply<T> reply(T *(*)(xcb_connection_t *, Cookie, xcb_generic_error_t **), Cookie cookie,
                      const QDeadlineTimer &deadline) {
        return X11Reply<T>(static_cast<T *>(awaitReply(cookie.sequence, deadline)));
    }
    template <typename T, typename Cookie>
    X11Reply<T> reply(T *(*function)(xcb_connection_t *, Cookie, xcb_generic_error_t **), Cookie cookie) {
        return reply(function, cookie, patience());
    }

    /// Waits for the outcome of a checked request that has no reply.
    bool succeeds(xcb_void_cookie_t cookie);

    /// Sends what has been requested so far; where there is no room for it by the deadline, it goes with what
    /// is sent next. Whether it was sent.
    bool flush(const QDeadlineTimer &deadline);
    bool flush() { return flush(patience()); }

    /// Returns true once the server has done what has been requested so far.
    bool sync();

    /// The server's clock at this moment, for requests that must not look older than the user's last action.
    /// Nothing if the deadline passed.
    std::optional<xcb_timestamp_t> serverTime(const QDeadlineTimer &deadline);
    std::optional<xcb_timestamp_t> serverTime() { return serverTime(patience()); }

    /// Whether the server has the extension. A request of one that it lacks would end the connection.
    bool has(xcb_extension_t &extension);

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
    void *awaitReply(unsigned int sequence, const QDeadlineTimer &deadline);
    bool awaitSocket(short events, const QDeadlineTimer &deadline) const;

    xcb_connection_t *m_xcb;
    xcb_window_t m_root = XCB_NONE;
    xcb_window_t m_clockWindow = XCB_NONE; ///< never mapped; a change to it makes the server tell the time
    uint32_t m_rootEventMask = 0;
    std::map<QByteArray, xcb_atom_t> m_atoms;
    std::set<const xcb_extension_t *> m_knownExtensions; ///< whether the server has them or not
    std::optional<uint64_t> m_readBeforeSilence; ///< bytes, by the time that an answer was given up last
    std::deque<X11Reply<xcb_generic_event_t>>
        m_setAside; ///< events that came before a time that was waited for
    QSocketNotifier *m_notifier = nullptr;
    bool m_isDispatchPending = false;
};

} // namespace quillora::platform
