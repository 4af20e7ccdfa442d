#pragma once

#include "platform/linux/x11/X11Collection.h"
#include "platform/linux/x11/X11Connection.h"

#include <chrono>
#include <list>

namespace quillora::platform {

/// What the thread of the selections waits for the server. Longer than anybody waits for that thread, or
/// giving up would look like an answer.
inline QDeadlineTimer serverDeadline() { return QDeadlineTimer(std::chrono::milliseconds(750)); }

/// Asks owners of selections for what they hold, and takes it in as it comes.
///
/// All values are asked for at once, so that one that never comes does not hold back the others. What has
/// been asked for is answered even by an owner that has lost the selection since. Targets that do something,
/// or that describe the owner rather than what it holds, are not asked for. Belongs to one thread, which
/// hands it the connection's events.
class X11SelectionCollector {
public:
    using Collection = std::shared_ptr<X11Collection>;

    /// What has not come whole after `patience` is left out.
    X11SelectionCollector(X11Connection &connection, std::chrono::milliseconds patience)
        : m_connection(connection), m_patience(patience) {}

    /// Asks the owner what it has, and for all of that once it has said so.
    Collection collect(const QByteArray &selection, xcb_window_t owner, xcb_timestamp_t time);

    /// Asks the owner for its plain text.
    Collection collectText(const QByteArray &selection, xcb_window_t owner, xcb_timestamp_t time);

    /// Asks for what programs usually have, of an owner that has not said yet what it has: if it loses the
    /// selection, nothing can be asked of it any more.
    void askForTheUsual(const Collection &collection);

    /// Does nothing with events that are about something else.
    void handle(const xcb_generic_event_t &event);

    void dropExpired();

    /// When `dropExpired` wants to be called.
    QDeadlineTimer nextExpiry() const;

private:
    enum class Progress { asked, incremental, read, failed };

    /// One target, with a window of its own: owners keep track of running transfers by the window.
    struct Conversion {
        xcb_window_t window = XCB_NONE;
        xcb_atom_t target = XCB_NONE;
        Progress progress = Progress::asked;
        xcb_atom_t type = XCB_NONE;
        std::optional<X11SelectionType> typeName = std::nullopt;
        QByteArray data;

        bool isSettled() const { return progress == Progress::read || progress == Progress::failed; }
    };

    /// What is asked of one owner.
    struct Inquiry {
        std::weak_ptr<X11Collection> collection; ///< nobody waits for what nobody keeps
        QByteArray selection;
        xcb_window_t owner = XCB_NONE;
        xcb_timestamp_t time = XCB_CURRENT_TIME;
        QDeadlineTimer patience;
        QDeadlineTimer end; ///< of its windows
        std::vector<Conversion> conversions;
        std::optional<std::vector<xcb_atom_t>>
            offered;        ///< what the owner has, in its order, once that is known
        qsizetype size = 0; ///< of all values

        bool isOpen() const; ///< somebody still wants the values
        bool isSettled() const;
        bool isWanted(xcb_atom_t target) const;
    };

    Inquiry &begin(const Collection &collection, const QByteArray &selection, xcb_window_t owner,
                   xcb_timestamp_t time);
    xcb_atom_t atom(const QByteArray &name);
    bool isStillAsked(const Inquiry &inquiry);
    std::vector<xcb_atom_t> plainAtoms();
    void ask(Inquiry &inquiry, const std::vector<xcb_atom_t> &targets);
    void askForAll(Inquiry &inquiry);
    void takeAnswer(Inquiry &inquiry, Conversion &conversion, xcb_atom_t property);
    void takePiece(Inquiry &inquiry, Conversion &conversion);
    X11Reply<xcb_get_property_reply_t> takeProperty(const Conversion &conversion);
    void append(Inquiry &inquiry, Conversion &conversion, const xcb_get_property_reply_t &value);
    void settle(Inquiry &inquiry, Conversion &conversion, Progress outcome);
    void publish(const Inquiry &inquiry) const;
    void endSettled();
    void destroyWindows(const Inquiry &inquiry);

    X11Connection &m_connection;
    const std::chrono::milliseconds m_patience;
    std::list<Inquiry> m_inquiries;
};

} // namespace quillora::platform
