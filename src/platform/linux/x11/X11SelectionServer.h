#pragma once

#include "platform/linux/x11/X11SelectionConnection.h"
#include "platform/linux/x11/X11SelectionContents.h"

#include <chrono>
#include <map>
#include <memory>
#include <vector>

namespace quillora::platform {

/// Owns selections and answers those who ask for them, as the Inter-Client Communication Conventions want it.
///
/// Belongs to one thread, which calls `serve` whenever the connection has input. Large values go out in
/// pieces, to several requestors at once; one that stops taking them is forgotten after `patience`.
class X11SelectionServer {
public:
    using Contents = std::shared_ptr<const X11SelectionContents>;

    X11SelectionServer(const QByteArray &displayName, std::chrono::milliseconds patience);

    bool isAlive() const { return m_connection.isAlive(); }
    int fileDescriptor() const { return m_connection.fileDescriptor(); }

    /// Takes the selection and offers these contents. False if the server did not let us.
    bool own(const QByteArray &selection, Contents contents);

    /// Leaves nothing on the selection, whoever owns it: no owner, or, on the clipboard where a manager would
    /// fill it again, an owner that offers nothing.
    void clear(const QByteArray &selection);

    /// What we offer on the selection; null if it is not ours.
    Contents held(const QByteArray &selection);

    /// Asks the clipboard manager to keep what we offer on the clipboard. False if there is no manager, or
    /// nothing to keep, or it had not taken everything after `limit`. Requests are served meanwhile.
    bool handOver(std::chrono::milliseconds limit);

    /// Handles everything that has arrived, and lets go of transfers that have come to a halt.
    void serve();

    /// When `serve` wants to be called though nothing arrives.
    QDeadlineTimer nextExpiry() const;

private:
    struct Holding {
        Contents contents;
        xcb_timestamp_t since = XCB_CURRENT_TIME;
    };

    /// A value on its way to a requestor, piece by piece.
    struct Transfer {
        xcb_window_t requestor = XCB_NONE;
        xcb_atom_t property = XCB_NONE;
        xcb_atom_t type = XCB_NONE;
        Contents contents; ///< keeps `value` alive
        const X11SelectionContents::Value *value = nullptr;
        qsizetype sent = 0;
        QDeadlineTimer patience;
    };

    enum Atom : size_t {
        targets,
        timestamp,
        multiple,
        saveTargets,
        incr,
        atomPair,
        null,
        clipboard,
        clipboardManager,
        handOverProperty,
        atomCount
    };

    xcb_atom_t atom(Atom name) const { return m_atoms[name]; }
    xcb_window_t ownerOf(xcb_atom_t selection);
    std::optional<xcb_timestamp_t> serverTime();
    void handle(const xcb_generic_event_t &event);
    void handleRequest(const xcb_selection_request_event_t &request);
    bool isOurs(const xcb_selection_request_event_t &request) const;
    bool convert(const Holding &holding, xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    bool convertMultiple(const Holding &holding, xcb_window_t requestor, xcb_atom_t property);
    bool send(const Contents &contents, const X11SelectionContents::Value &value, xcb_window_t requestor,
              xcb_atom_t property);
    void startTransfer(Transfer transfer);
    void sendNextPiece(xcb_window_t requestor, xcb_atom_t property);
    void dropTransfers(const std::function<bool(const Transfer &)> &isMeant);
    void selectRequestorEvents(xcb_window_t requestor, uint32_t mask);
    void forget(const xcb_selection_clear_event_t &loss);

    X11SelectionConnection m_connection;
    const std::chrono::milliseconds m_patience;
    xcb_window_t m_window = XCB_NONE;
    std::vector<xcb_atom_t> m_atoms;
    std::map<xcb_atom_t, Holding> m_holdings;
    std::vector<Transfer> m_transfers;
    std::optional<bool> m_handOverAnswer;
};

} // namespace quillora::platform
