#include "platform/linux/x11/X11Connection.h"

#include <QSocketNotifier>

#include <cerrno>
#include <poll.h>
#include <utility>

namespace quillora::platform {

namespace {
constexpr uint8_t eventTypeMask = 0x7f; // the top bit only says that another client sent the event
constexpr uint8_t errorType = 0;
constexpr std::chrono::seconds fullPatience(5);
} // namespace

X11Connection::X11Connection(const QByteArray &displayName, QObject *parent) : QObject(parent) {
    int screenNumber = 0;
    m_xcb = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &screenNumber);
    if (!isUsable())
        return;

    auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_xcb));
    for (int i = 0; i < screenNumber; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;

    constexpr uint32_t reportPropertyChanges = XCB_EVENT_MASK_PROPERTY_CHANGE;
    m_clockWindow = xcb_generate_id(m_xcb);
    xcb_create_window(m_xcb, 0, m_clockWindow, m_root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &reportPropertyChanges);
    xcb_flush(m_xcb);

    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_xcb), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11Connection::dispatch);
}

X11Connection::~X11Connection() {
    delete m_notifier; // before the descriptor that it watches is closed
    xcb_disconnect(m_xcb);
}

bool X11Connection::isUsable() const { return xcb_connection_has_error(m_xcb) == 0; }

bool X11Connection::isSilent() const {
    return m_readBeforeSilence == xcb_total_read(m_xcb) && !awaitSocket(POLLIN, QDeadlineTimer(0));
}

QDeadlineTimer X11Connection::patience() const {
    return isSilent() ? QDeadlineTimer(0) : QDeadlineTimer(fullPatience);
}

xcb_atom_t X11Connection::atom(const QByteArray &name) {
    const auto known = m_atoms.find(name);
    if (known != m_atoms.end())
        return known->second;
    const auto answer =
        reply(xcb_intern_atom_reply,
              xcb_intern_atom(m_xcb, 0, static_cast<uint16_t>(name.size()), name.constData()));
    if (!answer)
        return XCB_NONE;
    m_atoms.emplace(name, answer->atom);
    return answer->atom;
}

bool X11Connection::succeeds(xcb_void_cookie_t cookie) {
    xcb_generic_error_t *error = nullptr;
    const auto isKnown = [&] {
        void *noReply = nullptr;
        return xcb_poll_for_reply(m_xcb, cookie.sequence, &noReply, &error) != 0;
    };
    // What has no reply has succeeded if no error has come by the time that a later request is answered.
    const bool isTold = isKnown() || (sync() && isKnown());
    if (!isTold)
        xcb_discard_reply(m_xcb, cookie.sequence);
    const X11Reply<xcb_generic_error_t> failure(error);
    return isTold && !failure && isUsable();
}

bool X11Connection::flush(const QDeadlineTimer &deadline) {
    // XCB itself waits without end for room in the socket.
    const bool isRoom = isUsable() && awaitSocket(POLLOUT, deadline);
    if (isRoom)
        xcb_flush(m_xcb);
    dispatchLater();
    return isRoom;
}

bool X11Connection::sync() { return reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_xcb)) != nullptr; }

std::optional<xcb_timestamp_t> X11Connection::serverTime(const QDeadlineTimer &deadline) {
    // Appending nothing changes nothing, yet it is announced, with the time.
    const auto change = xcb_change_property(m_xcb, XCB_PROP_MODE_APPEND, m_clockWindow, XCB_ATOM_WM_NAME,
                                            XCB_ATOM_STRING, 8, 0, nullptr);
    // The server sends the event before it answers the request that follows, so there is nothing to wait for
    // after the answer.
    reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_xcb), deadline);
    while (X11Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(m_xcb)}) {
        // By its number: that of an earlier change may come late.
        if ((event->response_type & eventTypeMask) == XCB_PROPERTY_NOTIFY &&
            event->sequence == static_cast<uint16_t>(change.sequence))
            return reinterpret_cast<const xcb_property_notify_event_t *>(event.get())->time;
        m_setAside.push_back(std::move(event));
    }
    return {};
}

bool X11Connection::has(xcb_extension_t &extension) {
    // XCB itself waits without end for an answer that is not there.
    if (!m_knownExtensions.contains(&extension)) {
        xcb_prefetch_extension_data(m_xcb, &extension);
        if (!sync())
            return false;
        m_knownExtensions.insert(&extension);
    }
    const auto *answer = xcb_get_extension_data(m_xcb, &extension);
    return answer && answer->present;
}

void X11Connection::selectRootEvents(uint32_t eventMask) {
    m_rootEventMask |= eventMask;
    xcb_change_window_attributes(m_xcb, m_root, XCB_CW_EVENT_MASK, &m_rootEventMask);
    flush();
}

void X11Connection::dispatch() {
    m_isDispatchPending = false;
    while (const auto event = nextEvent()) {
        if (event->response_type != errorType)
            Q_EMIT eventReceived(event.get());
    }
    if (!isUsable() && m_notifier && m_notifier->isEnabled()) {
        m_notifier->setEnabled(false); // a closed socket stays readable for ever
        Q_EMIT lost();
    }
}

X11Reply<xcb_generic_event_t> X11Connection::nextEvent() {
    if (m_setAside.empty())
        return X11Reply<xcb_generic_event_t>(xcb_poll_for_event(m_xcb));
    auto event = std::move(m_setAside.front());
    m_setAside.pop_front();
    return event;
}

void *X11Connection::awaitReply(unsigned int sequence, const QDeadlineTimer &deadline) {
    void *reply = nullptr;
    xcb_generic_error_t *error = nullptr;
    bool isWaiting = flush(deadline);
    while (isWaiting && !xcb_poll_for_reply(m_xcb, sequence, &reply, &error))
        isWaiting = awaitSocket(POLLIN, deadline);
    if (!isWaiting) {
        xcb_discard_reply(m_xcb, sequence);
        m_readBeforeSilence = xcb_total_read(m_xcb);
    }
    std::free(error);
    dispatchLater();
    return reply;
}

bool X11Connection::awaitSocket(short events, const QDeadlineTimer &deadline) const {
    pollfd socket{xcb_get_file_descriptor(m_xcb), events, 0};
    for (;;) {
        const auto result = ::poll(&socket, 1, static_cast<int>(deadline.remainingTime()));
        if (result >= 0 || errno != EINTR)
            return result > 0;
    }
}

void X11Connection::dispatchLater() {
    // Whatever talks to the server may read events into XCB's own queue, and the socket then stays silent.
    if (std::exchange(m_isDispatchPending, true))
        return;
    QMetaObject::invokeMethod(this, &X11Connection::dispatch, Qt::QueuedConnection);
}

} // namespace quillora::platform
