#pragma once

#include "platform/linux/X11Reply.h"

#include <QByteArray>
#include <QDeadlineTimer>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

namespace quillora::platform {

/// An event as what its type says it is.
template <typename T>
const T &as(const xcb_generic_event_t &event) {
    return reinterpret_cast<const T &>(event);
}

/// Its type; the bit on top only says that another program sent it.
inline unsigned typeOf(const xcb_generic_event_t &event) { return event.response_type & 0x7fu; }

/// A connection to the X server, apart from the toolkit's. Belongs to one thread.
///
/// Other programs' windows may vanish at any moment, so a failed request is an ordinary outcome: it gives no
/// reply and is otherwise forgotten. A connection that could not be made or has been lost behaves the same
/// way: nothing crashes, nothing is answered.
///
/// Every wait has a deadline; where none is named, it is `patience`.
class X11Connection {
public:
    using Event = X11Reply<xcb_generic_event_t>;

    /// The display of that name; that of the environment if the name is empty.
    explicit X11Connection(const QByteArray &displayName = {});
    ~X11Connection();
    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    bool isUsable() const { return xcb_connection_has_error(m_xcb) == 0; }

    /// Whether an answer was given up, and the server has not been heard of since. What it was asked for it
    /// may do yet.
    bool isSilent() const;

    /// How long the main thread waits for an answer. A screen on which a server hangs shows nothing in any
    /// case, so this is much more than a busy machine needs; but it costs that only once: there is no
    /// patience left with a silent server.
    QDeadlineTimer patience() const;

    xcb_connection_t *xcb() const { return m_xcb; }
    int fileDescriptor() const { return xcb_get_file_descriptor(m_xcb); }

    /// The root window of the default screen.
    xcb_window_t root() const { return m_root; }

    /// An unmapped window that hears of changes of its own properties.
    xcb_window_t createWindow();

    /// The atoms of the names, in their order; none at all if the deadline passes. Each is asked for once and
    /// then remembered.
    std::optional<std::vector<xcb_atom_t>> atoms(const std::vector<QByteArray> &names,
                                                 const QDeadlineTimer &deadline);
    xcb_atom_t atom(const QByteArray &name);

    /// The names of the atoms, in their order; empty for what is no atom. None at all if the deadline passes.
    std::optional<std::vector<QByteArray>> names(const std::vector<xcb_atom_t> &atoms,
                                                 const QDeadlineTimer &deadline);

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
    bool sync(const QDeadlineTimer &deadline);
    bool sync() { return sync(patience()); }

    /// The server's clock at this moment, for requests that must not look older than the user's last action.
    /// Nothing if the deadline passed.
    std::optional<xcb_timestamp_t> serverTime(const QDeadlineTimer &deadline);
    std::optional<xcb_timestamp_t> serverTime() { return serverTime(patience()); }

    /// What the server says of an extension; none if it lacks that, whose requests would end the connection.
    const xcb_query_extension_reply_t *extension(xcb_extension_t &extension, const QDeadlineTimer &deadline);
    bool has(xcb_extension_t &extension) { return this->extension(extension, patience()) != nullptr; }

    /// None where there is no owner or the server does not say.
    xcb_window_t ownerOf(xcb_atom_t selection, const QDeadlineTimer &deadline);

    /// The next event, errors included; nothing if none came before the deadline.
    Event nextEvent(const QDeadlineTimer &deadline);

    /// The next event if one has arrived.
    Event arrivedEvent();

    /// The same, of what has been read from the server already.
    Event queuedEvent();

    /// The same, of what came while the time was waited for.
    Event keptEvent();

    /// Called whenever events may have been read that the descriptor does not show any more. May be empty.
    void setReadObserver(std::function<void()> observer) { m_readObserver = std::move(observer); }

private:
    void *awaitReply(unsigned int sequence, const QDeadlineTimer &deadline);
    bool awaitSocket(short events, const QDeadlineTimer &deadline) const;

    xcb_connection_t *m_xcb;
    xcb_window_t m_root = XCB_NONE;
    xcb_window_t m_clockWindow = XCB_NONE; ///< never mapped; a change to it makes the server tell the time
    std::map<QByteArray, xcb_atom_t> m_atoms;
    std::map<xcb_atom_t, QByteArray> m_names;
    std::set<const xcb_extension_t *> m_knownExtensions; ///< whether the server has them or not
    std::deque<Event> m_setAside;                        ///< that came before a time that was waited for
    std::optional<uint64_t> m_readBeforeSilence; ///< bytes, by the time that an answer was given up last
    std::function<void()> m_readObserver;
};

} // namespace quillora::platform
