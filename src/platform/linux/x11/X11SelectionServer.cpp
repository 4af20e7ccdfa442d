#include "platform/linux/x11/X11SelectionServer.h"

#include <algorithm>
#include <utility>

#include <xcb/xfixes.h>

namespace quillora::platform {

namespace {

/// Values above this go out in pieces of this size. A multiple of every unit, and what a local socket takes
/// at once as soon as it has room.
constexpr qsizetype pieceSize = qsizetype{128} * 1024;

/// Server times wrap around after 49 days.
bool isBefore(xcb_timestamp_t a, xcb_timestamp_t b) { return static_cast<int32_t>(a - b) < 0; }

uint32_t unitsIn(qsizetype bytes, int format) { return static_cast<uint32_t>(bytes / (format / 8)); }

} // namespace

X11SelectionServer::X11SelectionServer(const QByteArray &displayName, Patience patience)
    : m_connection(displayName), m_collector(m_connection, patience.withOwners), m_patience(patience),
      m_atoms(atomCount, XCB_NONE) {
    if (!isAlive())
        return;
    m_window = m_connection.createWindow();
    // In the order of Atom.
    const auto atoms =
        m_connection.atoms({"TARGETS", "TIMESTAMP", "MULTIPLE", "SAVE_TARGETS", "INCR", "ATOM_PAIR", "NULL",
                            "CLIPBOARD", "CLIPBOARD_MANAGER", "QUILLORA_HAND_OVER"},
                           serverDeadline());
    if (!atoms)
        return;
    m_atoms = *atoms;
    const auto *xfixes = m_connection.extension(xcb_xfixes_id, serverDeadline());
    if (!xfixes)
        return;
    m_ownerChangeEvent = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    // The extension answers nothing to whoever has not named a version.
    xcb_discard_reply(
        m_connection.xcb(),
        xcb_xfixes_query_version(m_connection.xcb(), XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION)
            .sequence);
}

bool X11SelectionServer::own(const QByteArray &selection, Collection contents) {
    std::vector<QByteArray> names{selection};
    for (const auto &value : contents->contents().values) {
        names.push_back(value.type.target);
        names.push_back(value.type.type);
    }
    // Asked for in one go here, so that answering a request needs no more questions.
    const auto atoms = m_connection.atoms(names, serverDeadline());
    const auto time = serverTime();
    if (!atoms || !time)
        return false;

    const auto selectionAtom = atoms->front();
    m_heirs.erase(selectionAtom);
    if (isLent(selectionAtom))
        m_formers.emplace(selectionAtom, Former{m_holdings[selectionAtom], *time, m_patience.withReaders});
    m_holdings[selectionAtom] = {std::move(contents), *time};
    xcb_set_selection_owner(m_connection.xcb(), m_window, selectionAtom, *time);
    return held(selection) != nullptr;
}

bool X11SelectionServer::lend(const QByteArray &selection, Collection contents) {
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    if (!atoms)
        return false;
    watch(atoms->front(), XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    const bool isOurs = own(selection, std::move(contents));
    if (isOurs)
        m_holdings[atoms->front()].isLent = true;
    return isOurs;
}

void X11SelectionServer::endLoan(const QByteArray &selection) {
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    if (!atoms)
        return;
    watch(atoms->front(), 0);
    m_heirs.erase(atoms->front());
}

X11SelectionServer::Collection X11SelectionServer::given(const QByteArray &selection) {
    const auto owner = ownerOf(selection);
    // The server told of every change before it answered.
    while (const auto event = m_connection.queuedEvent())
        handle(*event);
    if (owner != XCB_NONE && owner == m_window)
        return held(selection);
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    const auto heir = atoms ? m_heirs.find(atoms->front()) : m_heirs.end();
    return heir != m_heirs.end() && heir->second.window == owner ? heir->second.text : nullptr;
}

bool X11SelectionServer::gives(const QByteArray &selection, const X11SelectionContents &text) {
    const auto given = this->given(selection);
    return given && std::ranges::any_of(text.values, [&](const auto &value) {
               return std::ranges::count(given->contents().values, value) > 0;
           });
}

/// A program that synchronises clipboards may take over what we lend, and another may take it from that one.
void X11SelectionServer::noteHeir(const xcb_generic_event_t &event) {
    if (typeOf(event) != m_ownerChangeEvent)
        return;
    const auto &change = as<xcb_xfixes_selection_notify_event_t>(event);
    m_heirs.erase(change.selection);
    if (change.owner == m_window || change.owner == XCB_NONE)
        return;
    if (const auto names = m_connection.names({change.selection}, serverDeadline()))
        m_heirs[change.selection] = {
            change.owner, m_collector.collectText(names->front(), change.owner, change.selection_timestamp)};
}

void X11SelectionServer::watch(xcb_atom_t selection, uint32_t eventMask) {
    if (m_ownerChangeEvent)
        xcb_xfixes_select_selection_input(m_connection.xcb(), m_window, selection, eventMask);
}

X11SelectionServer::Collection X11SelectionServer::collect(const QByteArray &selection) {
    if (auto ours = held(selection))
        return ours;
    const auto owner = ownerOf(selection);
    const auto time = serverTime();
    if (!time)
        return X11Collection::outOfReach();
    if (owner == XCB_NONE)
        return std::make_shared<X11Collection>(X11SelectionContents());
    return m_collector.collect(selection, owner, *time);
}

void X11SelectionServer::restore(const QByteArray &selection, const Collection &collection) {
    endLoan(selection);
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    const bool isEmpty = collection->contents().values.empty();
    if (isEmpty && collection->isComplete() && !(atoms && isLent(atoms->front())))
        clear(selection);
    else if (own(selection, collection) && atoms)
        m_holdings[atoms->front()].isAwaited = isEmpty;
}

void X11SelectionServer::clear(const QByteArray &selection) {
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    if (!atoms)
        return;
    m_holdings.erase(atoms->front());
    // A manager would fill a clipboard that nobody owns, with the very text that is to go.
    if (atoms->front() == atom(clipboard) &&
        m_connection.ownerOf(atom(clipboardManager), serverDeadline()) != XCB_NONE) {
        own(selection, std::make_shared<X11Collection>(X11SelectionContents()));
        return;
    }
    if (const auto time = serverTime())
        xcb_set_selection_owner(m_connection.xcb(), XCB_NONE, atoms->front(), *time);
    // The answer says that the server has done it: another program that asks now must not find the old owner.
    m_connection.ownerOf(atoms->front(), serverDeadline());
}

X11SelectionServer::Collection X11SelectionServer::held(const QByteArray &selection) {
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    if (!atoms || !m_holdings.contains(atoms->front()))
        return {};
    // The server knows it before the event that tells us arrives.
    if (m_connection.ownerOf(atoms->front(), serverDeadline()) != m_window)
        return {};
    const auto found = m_holdings.find(atoms->front());
    return found != m_holdings.end() ? found->second.contents : nullptr;
}

bool X11SelectionServer::handOver(std::chrono::milliseconds limit) {
    const QDeadlineTimer deadline(limit);
    const auto contents = held("CLIPBOARD");
    if (!contents || contents->contents().values.empty())
        return false;
    if (m_connection.ownerOf(atom(clipboardManager), serverDeadline()) == XCB_NONE)
        return false;

    const auto time = serverTime();
    if (!time)
        return false;

    // Without a list of targets the manager takes all.
    m_handOverAnswer.reset();
    xcb_delete_property(m_connection.xcb(), m_window, atom(handOverProperty));
    xcb_convert_selection(m_connection.xcb(), m_window, atom(clipboardManager), atom(saveTargets),
                          atom(handOverProperty), *time);
    while (!m_handOverAnswer) {
        const auto event = m_connection.nextEvent(deadline);
        if (!event)
            return false;
        handle(*event);
        sendDuePieces();
    }
    return *m_handOverAnswer;
}

bool X11SelectionServer::serveNext() {
    const auto event = m_connection.arrivedEvent();
    if (event)
        handle(*event);
    dropTransfers([](const Transfer &transfer) { return transfer.patience.hasExpired(); });
    m_collector.dropExpired();
    dropFormers();
    clearWhatStaysEmpty();
    if (sendDuePieces())
        m_connection.flush(serverDeadline());
    return event != nullptr;
}

void X11SelectionServer::dropFormers() {
    std::erase_if(m_formers, [](const auto &former) { return former.second.patience.hasExpired(); });
}

/// Not as long as somebody may come late for what stood there: only owners are asked.
void X11SelectionServer::clearWhatStaysEmpty() {
    for (auto &[selection, holding] : m_holdings) {
        if (!holding.isAwaited)
            continue;
        const bool isEmpty = holding.contents->contents().values.empty();
        holding.isAwaited = isEmpty && (!holding.contents->isComplete() || m_formers.contains(selection));
        if (!isEmpty || holding.isAwaited)
            continue;
        if (const auto names = m_connection.names({selection}, serverDeadline()))
            return clear(names->front()); // which changes the map
    }
}

QDeadlineTimer X11SelectionServer::nextExpiry() const {
    auto next = m_collector.nextExpiry();
    for (const auto &transfer : m_transfers)
        next = std::min(next, transfer.isDue ? QDeadlineTimer(0) : transfer.patience);
    for (const auto &[selection, former] : m_formers)
        next = std::min(next, former.patience);
    return next;
}

xcb_window_t X11SelectionServer::ownerOf(const QByteArray &selection) {
    const auto atoms = m_connection.atoms({selection}, serverDeadline());
    return atoms ? m_connection.ownerOf(atoms->front(), serverDeadline()) : XCB_NONE;
}

std::optional<xcb_timestamp_t> X11SelectionServer::serverTime() {
    const auto time = m_connection.serverTime(serverDeadline());
    // What had come before it comes first.
    while (const auto event = m_connection.keptEvent())
        handle(*event);
    return time;
}

void X11SelectionServer::handle(const xcb_generic_event_t &event) {
    m_collector.handle(event);
    noteHeir(event);
    switch (typeOf(event)) {
    case 0: {
        // A requestor that was gone before we could listen for its end.
        const auto &error = as<xcb_generic_error_t>(event);
        if (error.error_code == XCB_WINDOW)
            dropTransfers([&](const Transfer &transfer) { return transfer.requestor == error.resource_id; });
        break;
    }
    case XCB_SELECTION_REQUEST:
        handleRequest(as<xcb_selection_request_event_t>(event));
        break;
    case XCB_SELECTION_CLEAR:
        forget(as<xcb_selection_clear_event_t>(event));
        break;
    case XCB_SELECTION_NOTIFY: {
        const auto &notify = as<xcb_selection_notify_event_t>(event);
        if (notify.selection == atom(clipboardManager))
            m_handOverAnswer = notify.property != XCB_NONE;
        break;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto &notify = as<xcb_property_notify_event_t>(event);
        if (notify.state == XCB_PROPERTY_DELETE)
            noteTaken(notify.window, notify.atom);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = as<xcb_destroy_notify_event_t>(event).window;
        dropTransfers([&](const Transfer &transfer) { return transfer.requestor == window; });
        break;
    }
    default:
        break;
    }
}

void X11SelectionServer::forget(const xcb_selection_clear_event_t &loss) {
    const auto found = m_holdings.find(loss.selection);
    if (found != m_holdings.end() && !isBefore(loss.time, found->second.since))
        m_holdings.erase(found);
}

void X11SelectionServer::handleRequest(const xcb_selection_request_event_t &request) {
    // Programs of old name no property; it is the target, then.
    const auto property = request.property == XCB_NONE ? request.target : request.property;
    bool isAnswered = false;
    if (const auto holding = holdingAt(request.selection, request.time)) {
        isAnswered =
            request.target == atom(multiple)
                ? request.property != XCB_NONE && convertMultiple(*holding, request.requestor, property)
                : convert(*holding, request.requestor, request.target, property);
    }

    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = isAnswered ? property : XCB_NONE;
    xcb_send_event(m_connection.xcb(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&notify));
    m_connection.flush(serverDeadline());
}

std::optional<X11SelectionServer::Holding> X11SelectionServer::holdingAt(xcb_atom_t selection,
                                                                         xcb_timestamp_t time) const {
    const auto found = m_holdings.find(selection);
    if (found == m_holdings.end())
        return {};
    if (time == XCB_CURRENT_TIME || !isBefore(time, found->second.since))
        return found->second;
    const auto [begin, end] = m_formers.equal_range(selection);
    const auto former = std::find_if(begin, end, [time](const auto &one) {
        return !isBefore(time, one.second.holding.since) && isBefore(time, one.second.until);
    });
    return former != end ? std::optional(former->second.holding) : std::nullopt;
}

bool X11SelectionServer::isLent(xcb_atom_t selection) const {
    const auto found = m_holdings.find(selection);
    return found != m_holdings.end() && found->second.isLent;
}

bool X11SelectionServer::convert(const Holding &holding, xcb_window_t requestor, xcb_atom_t target,
                                 xcb_atom_t property) {
    const auto answer = [&](xcb_atom_t type, const std::vector<uint32_t> &units) {
        return put(requestor, property, type, 32, units.data(), static_cast<uint32_t>(units.size()));
    };
    if (target == atom(timestamp))
        return answer(XCB_ATOM_INTEGER, {holding.since});
    if (target == atom(saveTargets))
        return answer(atom(null), {});

    std::vector<xcb_atom_t> offered{atom(targets), atom(timestamp), atom(multiple), atom(saveTargets)};
    for (const auto &value : holding.contents->contents().values) {
        const auto valueTarget = m_connection.atoms({value.type.target}, serverDeadline());
        if (!valueTarget)
            return false;
        if (target == valueTarget->front())
            return send(value, requestor, property);
        offered.push_back(valueTarget->front());
    }
    return target == atom(targets) && answer(XCB_ATOM_ATOM, offered);
}

bool X11SelectionServer::convertMultiple(const Holding &holding, xcb_window_t requestor,
                                         xcb_atom_t property) {
    const auto list =
        m_connection.reply(xcb_get_property_reply,
                           xcb_get_property(m_connection.xcb(), 0, requestor, property,
                                            XCB_GET_PROPERTY_TYPE_ANY, 0, pieceSize / sizeof(xcb_atom_t)),
                           serverDeadline());
    if (!list || list->format != 32)
        return false;
    const auto *atoms = static_cast<const xcb_atom_t *>(xcb_get_property_value(list.get()));
    std::vector<xcb_atom_t> pairs(atoms, atoms + list->value_len);
    for (size_t i = 0; i + 1 < pairs.size(); i += 2) {
        if (!m_connection.flush(serverDeadline())) // it would be waited for once for each
            return false;
        const bool isNested = pairs[i] == atom(multiple);
        if (isNested || pairs[i + 1] == XCB_NONE || !convert(holding, requestor, pairs[i], pairs[i + 1]))
            pairs[i + 1] = XCB_NONE;
    }
    return put(requestor, property, atom(atomPair), 32, pairs.data(), static_cast<uint32_t>(pairs.size()));
}

bool X11SelectionServer::send(const X11SelectionContents::Value &value, xcb_window_t requestor,
                              xcb_atom_t property) {
    const auto type = m_connection.atoms({value.type.type}, serverDeadline());
    if (!type)
        return false;
    if (value.data.size() > pieceSize)
        return startTransfer({.requestor = requestor,
                              .property = property,
                              .type = type->front(),
                              .value = value,
                              .patience = QDeadlineTimer(m_patience.withRequestors)});
    return put(requestor, property, type->front(), value.type.format, value.data.constData(),
               unitsIn(value.data.size(), value.type.format));
}

bool X11SelectionServer::startTransfer(Transfer transfer) {
    dropTransfers([&](const Transfer &other) {
        return other.requestor == transfer.requestor && other.property == transfer.property;
    });
    const auto size = static_cast<uint32_t>(transfer.value.data.size());
    if (!put(transfer.requestor, transfer.property, atom(incr), 32, &size, 1))
        return false;
    selectRequestorEvents(transfer.requestor,
                          XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    m_transfers.push_back(std::move(transfer));
    return true;
}

void X11SelectionServer::noteTaken(xcb_window_t requestor, xcb_atom_t property) {
    const auto found = std::ranges::find_if(m_transfers, [&](const Transfer &transfer) {
        return transfer.requestor == requestor && transfer.property == property;
    });
    if (found != m_transfers.end())
        found->isDue = true;
}

bool X11SelectionServer::sendDuePieces() {
    for (;;) {
        const auto due = std::ranges::find(m_transfers, true, &Transfer::isDue);
        if (due == m_transfers.end())
            return true;
        if (!sendNextPiece(*due))
            return false;
    }
}

bool X11SelectionServer::sendNextPiece(Transfer &transfer) {
    const auto [requestor, property] = std::pair(transfer.requestor, transfer.property);
    const auto &[type, data] = transfer.value;
    const auto left = unitsIn(data.size() - transfer.sent, type.format);
    const auto units = std::min(left, unitsIn(pieceSize, type.format));
    if (!put(requestor, property, transfer.type, type.format, data.constData() + transfer.sent, units))
        return false;
    transfer.isDue = false;
    transfer.sent += static_cast<qsizetype>(units) * (type.format / 8);
    transfer.patience = QDeadlineTimer(m_patience.withRequestors);
    // The piece of no length tells the requestor that it has everything.
    if (units == 0) {
        dropTransfers([&](const Transfer &other) {
            return other.requestor == requestor && other.property == property;
        });
    }
    return true;
}

bool X11SelectionServer::put(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type, int format,
                             const void *data, uint32_t units) {
    // XCB itself waits without end for room. On a connection that is gone it does nothing.
    if (isAlive() && !m_connection.flush(serverDeadline()))
        return false;
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, requestor, property, type,
                        static_cast<uint8_t>(format), units, data);
    return true;
}

void X11SelectionServer::dropTransfers(const std::function<bool(const Transfer &)> &isMeant) {
    for (auto it = m_transfers.begin(); it != m_transfers.end();) {
        if (!isMeant(*it)) {
            ++it;
            continue;
        }
        const auto requestor = it->requestor;
        it = m_transfers.erase(it);
        if (std::ranges::find(m_transfers, requestor, &Transfer::requestor) == m_transfers.end())
            selectRequestorEvents(requestor, XCB_EVENT_MASK_NO_EVENT);
    }
}

void X11SelectionServer::selectRequestorEvents(xcb_window_t requestor, uint32_t mask) {
    xcb_change_window_attributes(m_connection.xcb(), requestor, XCB_CW_EVENT_MASK, &mask);
}

} // namespace quillora::platform
