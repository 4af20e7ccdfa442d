#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <QByteArrayList>

#include <chrono>

namespace quillora::test {

/// Another program that pastes, on a connection of its own. Its questions wait without turning the event
/// loop.
class SelectionRequestor {
public:
    struct Answer {
        QByteArray type;
        int format = 8;
        QByteArray data;

        bool operator==(const Answer &) const = default;
    };

    SelectionRequestor(const QByteArray &displayName, const QByteArray &selection)
        : m_connection(displayName), m_window(m_connection.createWindow()), m_selection(atom(selection)) {}

    bool isOwned();

    /// The answer, or nothing if it is refused or does not come within ten seconds.
    std::optional<Answer> ask(const QByteArray &target);

    /// Starts to take a large value; it stands still until `takeRest`. False if it is not sent in pieces.
    bool begin(const QByteArray &target);

    /// Takes what is left of the value, or nothing if it stops coming for `limit`.
    std::optional<Answer> takeRest(std::chrono::milliseconds limit);

    /// The same in two steps: asks for the first piece, and takes all pieces.
    void askForPieces();
    std::optional<Answer> takePieces(std::chrono::milliseconds limit);

    /// What the owner offers, without the targets that every owner has.
    QByteArrayList targets();

    /// Asks for several targets at once. Empty where one is refused.
    std::vector<std::optional<Answer>> askMultiple(const QByteArrayList &targets);

    /// What is asked for from now on is asked as at this server time.
    void setTime(xcb_timestamp_t time) { m_time = time; }

private:
    using Property = platform::X11Reply<xcb_get_property_reply_t>;

    xcb_atom_t atom(const QByteArray &name);
    QByteArray name(xcb_atom_t atom);
    bool convert(xcb_atom_t target);
    Property takeProperty(xcb_atom_t property);
    bool awaitProperty(xcb_atom_t property, const QDeadlineTimer &deadline);
    Answer toAnswer(const xcb_get_property_reply_t &value);

    platform::X11Connection m_connection;
    xcb_window_t m_window;
    xcb_atom_t m_selection;
    xcb_timestamp_t m_time = XCB_CURRENT_TIME;
};

} // namespace quillora::test
