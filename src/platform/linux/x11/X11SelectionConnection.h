#pragma once

#include "platform/linux/x11/X11Reply.h"

#include <QByteArray>
#include <QDeadlineTimer>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

namespace quillora::platform {

/// The X server answers at once unless it hangs. Longer than anybody waits for us, or giving up would look
/// like an answer.
inline QDeadlineTimer serverDeadline() { return QDeadlineTimer(std::chrono::milliseconds(750)); }

/// An event as what its type says it is.
template <typename T>
const T &as(const xcb_generic_event_t &event) {
    return reinterpret_cast<const T &>(event);
}

/// A connection to the X server that serves selections only, and on which nothing is awaited without a
/// deadline.
///
/// The toolkit's own connection does not do: its clipboard waits for a hung owner for seconds, format by
/// format. Belongs to one thread. A connection that could not be made, or that the server has closed, answers
/// everything with nothing.
class X11SelectionConnection {
public:
    template <typename T>
    using Reply = X11Reply<T>;
    using Event = Reply<xcb_generic_event_t>;
    using EventHandler = std::function<void(const xcb_generic_event_t &)>;

    /// The display of that name; that of the environment if the name is empty.
    explicit X11SelectionConnection(const QByteArray &displayName);
    ~X11SelectionConnection();
    X11SelectionConnection(const X11SelectionConnection &) = delete;
    X11SelectionConnection &operator=(const X11SelectionConnection &) = delete;

    bool isAlive() const { return xcb_connection_has_error(m_connection) == 0; }
    operator xcb_connection_t *() const { return m_connection; }
    int fileDescriptor() const { return xcb_get_file_descriptor(m_connection); }

    /// An unmapped window that hears of changes of its own properties.
    xcb_window_t createWindow();

    /// The atoms of the names, in their order; none at all if the deadline passes.
    std::optional<std::vector<xcb_atom_t>> atoms(const std::vector<QByteArray> &names,
                                                 const QDeadlineTimer &deadline);

    /// The names of the atoms, in their order; empty for what is no atom. None at all if the deadline passes.
    std::optional<std::vector<QByteArray>> names(const std::vector<xcb_atom_t> &atoms,
                                                 const QDeadlineTimer &deadline);

    /// The server's present time, as it is told to `window` with a change of property. Other events that
    /// arrive meanwhile are handed to `otherwise`.
    std::optional<xcb_timestamp_t> serverTime(xcb_window_t window, const QDeadlineTimer &deadline,
                                              const EventHandler &otherwise);

    /// None where there is no owner or the server does not say.
    xcb_window_t ownerOf(xcb_atom_t selection);

    /// Nothing if the request failed or the deadline passed.
    template <typename T, typename Cookie>
    Reply<T> reply(Cookie cookie, const QDeadlineTimer &deadline) {
        return Reply<T>(static_cast<T *>(awaitReply(cookie.sequence, deadline)));
    }

    /// The next event, errors included; nothing if none came before the deadline.
    Event nextEvent(const QDeadlineTimer &deadline);

    /// The next event if one has arrived.
    Event arrivedEvent() { return Event(xcb_poll_for_event(m_connection)); }

    /// The same, of what has been read from the server already.
    Event queuedEvent() { return Event(xcb_poll_for_queued_event(m_connection)); }

private:
    void *awaitReply(unsigned int sequence, const QDeadlineTimer &deadline);
    bool awaitInput(const QDeadlineTimer &deadline);

    xcb_connection_t *m_connection;
    xcb_window_t m_root = XCB_NONE;
    std::map<QByteArray, xcb_atom_t> m_atoms;
    std::map<xcb_atom_t, QByteArray> m_names;
};

} // namespace quillora::platform
