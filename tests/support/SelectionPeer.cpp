#include "support/SelectionPeer.h"

#include "platform/linux/x11/X11Connection.h"

#include <algorithm>
#include <future>
#include <map>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quillora::test {

using platform::as;
using platform::X11Connection;

namespace {

QDeadlineTimer patience() { return QDeadlineTimer(10000); }

} // namespace

class SelectionPeer::Program {
public:
    Program(SelectionPeer &peer, const QByteArray &displayName, std::vector<Offer> offers, Manners manners)
        : m_peer(peer), m_connection(displayName), m_window(m_connection.createWindow()),
          m_offers(std::move(offers)), m_manners(manners) {}

    void own(const QByteArray &selection) {
        m_selection = atom(selection);
        const auto time = m_connection.serverTime(patience());
        xcb_set_selection_owner(m_connection.xcb(), m_window, m_selection, time.value_or(XCB_CURRENT_TIME));
        m_connection.reply(xcb_get_selection_owner_reply,
                           xcb_get_selection_owner(m_connection.xcb(), m_selection), patience());
    }

    void run() {
        // Before the wait: whoever asked while the selection was taken was read with an answer of the server,
        // and the descriptor does not show it any more.
        do {
            answerLate();
            while (const auto event = m_connection.arrivedEvent()) {
                handle(*event);
                if (m_isDead)
                    return;
            }
        } while (waitForInput(-1));
    }

private:
    struct Transfer {
        const Offer *offer;
        qsizetype sent = 0;
    };

    xcb_atom_t atom(const QByteArray &name) { return m_connection.atoms({name}, patience())->front(); }
    QByteArray name(xcb_atom_t atom) { return m_connection.names({atom}, patience())->front(); }

    /// False if the program is to end.
    bool waitForInput(int timeoutMs) {
        pollfd inputs[] = {{m_peer.m_endDescriptor, POLLIN, 0},
                           {m_peer.m_lateDescriptor, POLLIN, 0},
                           {m_connection.fileDescriptor(), POLLIN, 0}};
        xcb_flush(m_connection.xcb());
        ::poll(inputs, timeoutMs < 0 ? 3 : 1, timeoutMs);
        return inputs[0].revents == 0 && m_connection.isUsable();
    }

    void handle(const xcb_generic_event_t &event) {
        const int type = event.response_type & 0x7f;
        if (type == XCB_SELECTION_REQUEST) {
            answer(as<xcb_selection_request_event_t>(event));
        } else if (type == XCB_PROPERTY_NOTIFY) {
            const auto &notify = as<xcb_property_notify_event_t>(event);
            if (notify.state == XCB_PROPERTY_DELETE)
                sendPiece(notify.window, notify.atom);
        }
    }

    void answerLate() {
        eventfd_t count = 0;
        if (::eventfd_read(m_peer.m_lateDescriptor, &count) != 0)
            return;
        m_isLate = false;
        for (const auto &request : std::exchange(m_keptWaiting, {}))
            answer(request);
    }

    void answer(const xcb_selection_request_event_t &request) {
        const auto target = name(request.target);
        {
            const std::lock_guard lock(m_peer.m_mutex);
            m_peer.m_requested += target;
        }
        const auto offer = std::ranges::find(m_offers, target, &Offer::target);
        const bool isKnown = offer != m_offers.end();
        if (m_manners.isHung || (isKnown && !offer->isAnswered))
            return;
        if (m_isLate && (m_manners.isLate || (isKnown && offer->isLate))) {
            m_keptWaiting.push_back(request);
            return;
        }
        if (m_manners.delay.count() > 0 && !waitForInput(static_cast<int>(m_manners.delay.count()))) {
            m_isDead = true;
            return;
        }
        auto property = request.property;
        if (target == "TARGETS" && m_manners.knowsTargets)
            sendTargets(request);
        else if (isKnown && !offer->isRefused)
            send(*offer, request);
        else if (m_manners.givesWhateverIsAsked)
            send(m_offers.front(), request);
        else
            property = XCB_NONE;
        notify(request, property);
    }

    void sendTargets(const xcb_selection_request_event_t &request) {
        std::vector<xcb_atom_t> targets{atom("TARGETS"), atom("TIMESTAMP")};
        for (const auto &offer : m_offers)
            targets.push_back(atom(offer.target));
        xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            XCB_ATOM_ATOM, 32, static_cast<uint32_t>(targets.size()), targets.data());
    }

    void send(const Offer &offer, const xcb_selection_request_event_t &request) {
        if (offer.data.size() <= m_manners.pieceSize) {
            write(offer, request.requestor, request.property, 0, offer.data.size());
            return;
        }
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_connection.xcb(), request.requestor, XCB_CW_EVENT_MASK, &mask);
        const auto size = static_cast<uint32_t>(offer.data.size());
        xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            atom("INCR"), 32, 1, &size);
        m_transfers[{request.requestor, request.property}] = {&offer};
    }

    void sendPiece(xcb_window_t window, xcb_atom_t property) {
        const auto found = m_transfers.find({window, property});
        if (found == m_transfers.end())
            return;
        auto &transfer = found->second;
        if (m_pieces == m_manners.diesAfterPieces)
            m_isDead = true;
        if (m_isDead || m_pieces == m_manners.stallsAfterPieces)
            return;
        ++m_pieces;
        const auto size = std::min(m_manners.pieceSize, transfer.offer->data.size() - transfer.sent);
        write(*transfer.offer, window, property, transfer.sent, size);
        transfer.sent += size;
        if (size == 0)
            m_transfers.erase(found);
    }

    void write(const Offer &offer, xcb_window_t window, xcb_atom_t property, qsizetype from, qsizetype size) {
        xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, window, property, atom(offer.type),
                            static_cast<uint8_t>(offer.format),
                            static_cast<uint32_t>(size / (offer.format / 8)), offer.data.constData() + from);
        xcb_flush(m_connection.xcb());
    }

    void notify(const xcb_selection_request_event_t &request, xcb_atom_t property) {
        xcb_selection_notify_event_t event{};
        event.response_type = XCB_SELECTION_NOTIFY;
        event.time = request.time;
        event.requestor = request.requestor;
        event.selection = request.selection;
        event.target = request.target;
        event.property = property;
        xcb_send_event(m_connection.xcb(), 0, request.requestor, 0, reinterpret_cast<const char *>(&event));
        xcb_flush(m_connection.xcb());
    }

    SelectionPeer &m_peer;
    X11Connection m_connection;
    xcb_window_t m_window;
    xcb_atom_t m_selection = XCB_NONE;
    const std::vector<Offer> m_offers;
    const Manners m_manners;
    std::map<std::pair<xcb_window_t, xcb_atom_t>, Transfer> m_transfers;
    std::vector<xcb_selection_request_event_t> m_keptWaiting;
    bool m_isLate = true;
    int m_pieces = 0;
    bool m_isDead = false;
};

SelectionPeer::SelectionPeer(const QByteArray &displayName, const QByteArray &selection,
                             std::vector<Offer> offers, Manners manners)
    : m_endDescriptor(::eventfd(0, EFD_CLOEXEC)), m_lateDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    auto program = std::make_unique<Program>(*this, displayName, std::move(offers), manners);
    program->own(selection);
    m_thread = std::thread([program = std::move(program)]() mutable {
        program->run();
        program.reset();
    });
}

SelectionPeer::~SelectionPeer() {
    ::eventfd_write(m_endDescriptor, 1);
    m_thread.join();
    ::close(m_endDescriptor);
    ::close(m_lateDescriptor);
}

void SelectionPeer::giveLate() { ::eventfd_write(m_lateDescriptor, 1); }

QByteArrayList SelectionPeer::requested() const {
    const std::lock_guard lock(m_mutex);
    return m_requested;
}

} // namespace quillora::test
