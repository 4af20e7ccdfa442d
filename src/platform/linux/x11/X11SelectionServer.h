#pragma once

#include "platform/linux/x11/X11Collection.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11SelectionCollector.h"

#include <chrono>
#include <map>
#include <memory>
#include <vector>

namespace quillora::platform {

/// Owns selections and answers those who ask for them, as the Inter-Client Communication Conventions want it,
/// and takes in what others have on offer.
///
/// Belongs to one thread, which calls `serveNext` whenever the connection has input. Large values go out in
/// pieces, to several requestors at once; one that stops taking them is forgotten.
class X11SelectionServer {
public:
    using Collection = std::shared_ptr<X11Collection>;

    struct Patience {
        std::chrono::milliseconds withRequestors{10000}; ///< that stop taking a large value
        std::chrono::milliseconds withOwners{30000};     ///< that do not give what they have
        std::chrono::milliseconds withReaders{10000};    ///< that were told to paste what has gone since
    };

    X11SelectionServer(const QByteArray &displayName, Patience patience);

    bool isAlive() const { return m_connection.isUsable(); }
    int fileDescriptor() const { return m_connection.fileDescriptor(); }

    /// Takes the selection and offers these contents, with what is still to come of them. False if the server
    /// did not let us.
    bool own(const QByteArray &selection, Collection contents);

    /// The same until `restore` or `endLoan`; meanwhile it is looked at what those give who take the
    /// selection over.
    bool lend(const QByteArray &selection, Collection contents);

    /// Leaves the selection to whoever owns it.
    void endLoan(const QByteArray &selection);

    /// What one that asks for a text now gets, as far as that is known: of us, or of whoever has taken over
    /// what we lend.
    Collection given(const QByteArray &selection);

    /// Whether one that asks for a text now gets this one, as far as that is known.
    bool gives(const QByteArray &selection, const X11SelectionContents &text);

    /// Asks the selection's owner for everything; what we offer ourselves is there already.
    Collection collect(const QByteArray &selection);
    void askForTheUsual(const Collection &collection) { m_collector.askForTheUsual(collection); }

    /// Offers what was collected, and clears the selection once it is certain that there is nothing.
    void restore(const QByteArray &selection, const Collection &collection);

    /// What we offer on the selection; null if it is not ours.
    Collection held(const QByteArray &selection);

    xcb_window_t ownerOf(const QByteArray &selection);

    /// Asks the clipboard manager to keep what we offer on the clipboard. False if there is no manager, or
    /// nothing to keep, or it had not taken everything after `limit`. Requests are served meanwhile.
    bool handOver(std::chrono::milliseconds limit);

    /// Handles the next event, if one has arrived, and lets go of what has come to a halt. Whether there was
    /// one.
    bool serveNext();

    /// When `serveNext` wants to be called though nothing arrives.
    QDeadlineTimer nextExpiry() const;

private:
    struct Holding {
        Collection contents;
        xcb_timestamp_t since = XCB_CURRENT_TIME;
        bool isLent = false;
        bool isAwaited = false; ///< nothing of it has come yet, and perhaps nothing will
    };

    /// What was lent before. Who was told to paste then gets it still, however late he asks: his question
    /// bears the time of the keys.
    struct Former {
        Holding holding;
        xcb_timestamp_t until = XCB_CURRENT_TIME;
        QDeadlineTimer patience;
    };

    /// Who has taken over what we lend.
    struct Heir {
        xcb_window_t window = XCB_NONE;
        Collection text;
    };

    /// A value on its way to a requestor, piece by piece.
    struct Transfer {
        xcb_window_t requestor = XCB_NONE;
        xcb_atom_t property = XCB_NONE;
        xcb_atom_t type = XCB_NONE;
        X11SelectionContents::Value value;
        qsizetype sent = 0;
        bool isDue = false; ///< the requestor has taken what was sent
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
    /// Leaves nothing on the selection, whoever owns it: no owner, or, on the clipboard where a manager would
    /// fill it again, an owner that offers nothing.
    void clear(const QByteArray &selection);
    std::optional<xcb_timestamp_t> serverTime();
    void handle(const xcb_generic_event_t &event);
    void handleRequest(const xcb_selection_request_event_t &request);
    /// What stood on the selection at that time, if it was ours then and is now.
    std::optional<Holding> holdingAt(xcb_atom_t selection, xcb_timestamp_t time) const;
    bool isLent(xcb_atom_t selection) const;
    void dropFormers();
    bool convert(const Holding &holding, xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    bool convertMultiple(const Holding &holding, xcb_window_t requestor, xcb_atom_t property);
    bool send(const X11SelectionContents::Value &value, xcb_window_t requestor, xcb_atom_t property);
    bool startTransfer(Transfer transfer);
    void noteTaken(xcb_window_t requestor, xcb_atom_t property);
    /// False if there was no room for one of them; it stays due.
    bool sendDuePieces();
    bool sendNextPiece(Transfer &transfer);
    /// Gives the requestor a property, no larger than a piece. False if there was no room for it in time.
    bool put(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type, int format, const void *data,
             uint32_t units);
    void dropTransfers(const std::function<bool(const Transfer &)> &isMeant);
    void selectRequestorEvents(xcb_window_t requestor, uint32_t mask);
    void noteHeir(const xcb_generic_event_t &event);
    void watch(xcb_atom_t selection, uint32_t eventMask);
    void forget(const xcb_selection_clear_event_t &loss);
    void clearWhatStaysEmpty();

    X11Connection m_connection;
    X11SelectionCollector m_collector;
    const Patience m_patience;
    xcb_window_t m_window = XCB_NONE;
    std::vector<xcb_atom_t> m_atoms;
    std::optional<unsigned> m_ownerChangeEvent; ///< its type, where the server tells of another owner
    std::map<xcb_atom_t, Holding> m_holdings;
    std::multimap<xcb_atom_t, Former> m_formers; ///< of each selection in the order of time
    std::vector<Transfer> m_transfers;
    std::map<xcb_atom_t, Heir> m_heirs;
    std::optional<bool> m_handOverAnswer;
};

} // namespace quillora::platform
