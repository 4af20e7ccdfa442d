#include "platform/linux/x11/X11Connection.h"

#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <poll.h>
#include <thread>
#include <utility>

namespace quillora::platform {

namespace {

constexpr std::chrono::seconds fullPatience(5);

struct Greeting {
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> xcb{nullptr, &xcb_disconnect};
    int screenNumber = 0;
};

Greeting greet(const QByteArray &displayName) {
    Greeting greeting;
    greeting.xcb.reset(
        xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &greeting.screenNumber));
    return greeting;
}

/// XCB waits without end for a server that takes a connection and says nothing. So it waits aside; whatever
/// comes of it later is closed.
Greeting greetWithin(std::chrono::seconds limit, const QByteArray &displayName) {
    std::packaged_task<Greeting()> task([displayName] { return greet(displayName); });
    auto greeting = task.get_future();
    std::thread(std::move(task)).detach();
    if (greeting.wait_for(limit) == std::future_status::ready)
        return greeting.get();
    const QByteArray noDisplay("none");
    return greet(noDisplay);
}

} // namespace

X11Connection::X11Connection(const QByteArray &displayName) {
    auto [xcb, screenNumber] = greetWithin(fullPatience, displayName);
    m_xcb = xcb.release();
    if (!isUsable())
        return;
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(m_xcb));
    for (; screenNumber > 0 && screen.rem > 1; --screenNumber)
        xcb_screen_next(&screen);
    m_root = screen.data->root;
    m_clockWindow = createWindow();
}

X11Connection::~X11Connection() { xcb_disconnect(m_xcb); }

bool X11Connection::isSilent() const {
    return m_readBeforeSilence == xcb_total_read(m_xcb) && !awaitSocket(POLLIN, QDeadlineTimer(0));
}

QDeadlineTimer X11Connection::patience() const {
    return isSilent() ? QDeadlineTimer(0) : QDeadlineTimer(fullPatience);
}

xcb_window_t X11Connection::createWindow() {
    const auto window = xcb_generate_id(m_xcb);
    const uint32_t eventMask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_xcb, 0, window, m_root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &eventMask);
    return window;
}

std::optional<std::vector<xcb_atom_t>> X11Connection::atoms(const std::vector<QByteArray> &names,
                                                            const QDeadlineTimer &deadline) {
    std::vector<std::pair<QByteArray, xcb_intern_atom_cookie_t>> questions;
    for (const auto &name : names) {
        if (!m_atoms.contains(name))
            questions.emplace_back(
                name, xcb_intern_atom(m_xcb, 0, static_cast<uint16_t>(name.size()), name.constData()));
    }
    for (const auto &[name, cookie] : questions) {
        if (const auto answer = reply(xcb_intern_atom_reply, cookie, deadline)) {
            m_atoms[name] = answer->atom;
            m_names[answer->atom] = name;
        }
    }
    std::vector<xcb_atom_t> atoms;
    for (const auto &name : names) {
        const auto found = m_atoms.find(name);
        if (found == m_atoms.end())
            return {};
        atoms.push_back(found->second);
    }
    return atoms;
}

xcb_atom_t X11Connection::atom(const QByteArray &name) {
    const auto found = atoms({name}, patience());
    return found ? found->front() : xcb_atom_t{XCB_NONE};
}

std::optional<std::vector<QByteArray>> X11Connection::names(const std::vector<xcb_atom_t> &atoms,
                                                            const QDeadlineTimer &deadline) {
    std::vector<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> questions;
    for (const auto atom : atoms) {
        if (!m_names.contains(atom))
            questions.emplace_back(atom, xcb_get_atom_name(m_xcb, atom));
    }
    for (const auto &[atom, cookie] : questions) {
        if (const auto answer = reply(xcb_get_atom_name_reply, cookie, deadline)) {
            const QByteArray name(xcb_get_atom_name_name(answer.get()),
                                  xcb_get_atom_name_name_length(answer.get()));
            m_names[atom] = name;
            m_atoms[name] = atom;
        } else if (deadline.hasExpired() || !isUsable()) {
            return {};
        }
    }
    std::vector<QByteArray> names;
    for (const auto atom : atoms) {
        const auto found = m_names.find(atom);
        names.push_back(found == m_names.end() ? QByteArray() : found->second);
    }
    return names;
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
    if (m_readObserver)
        m_readObserver();
    return isRoom;
}

bool X11Connection::sync(const QDeadlineTimer &deadline) {
    return reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_xcb), deadline) != nullptr;
}

std::optional<xcb_timestamp_t> X11Connection::serverTime(const QDeadlineTimer &deadline) {
    // Appending nothing changes nothing, yet it is announced, with the time.
    const auto change = xcb_change_property(m_xcb, XCB_PROP_MODE_APPEND, m_clockWindow, XCB_ATOM_WM_NAME,
                                            XCB_ATOM_STRING, 8, 0, nullptr);
    // The server sends the event before it answers the request that follows, so there is nothing to wait for
    // after the answer.
    sync(deadline);
    while (Event event{xcb_poll_for_queued_event(m_xcb)}) {
        // By its number: that of an earlier change may come late.
        if (typeOf(*event) == XCB_PROPERTY_NOTIFY &&
            event->sequence == static_cast<uint16_t>(change.sequence))
            return as<xcb_property_notify_event_t>(*event).time;
        m_setAside.push_back(std::move(event));
    }
    return {};
}

const xcb_query_extension_reply_t *X11Connection::extension(xcb_extension_t &extension,
                                                            const QDeadlineTimer &deadline) {
    // XCB itself waits without end for an answer that is not there.
    if (!m_knownExtensions.contains(&extension)) {
        xcb_prefetch_extension_data(m_xcb, &extension);
        if (!sync(deadline))
            return nullptr;
        m_knownExtensions.insert(&extension);
    }
    const auto *answer = xcb_get_extension_data(m_xcb, &extension);
    return answer && answer->present ? answer : nullptr;
}

xcb_window_t X11Connection::ownerOf(xcb_atom_t selection, const QDeadlineTimer &deadline) {
    const auto owner =
        reply(xcb_get_selection_owner_reply, xcb_get_selection_owner(m_xcb, selection), deadline);
    return owner ? owner->owner : xcb_window_t{XCB_NONE};
}

X11Connection::Event X11Connection::nextEvent(const QDeadlineTimer &deadline) {
    flush(deadline);
    for (;;) {
        if (auto event = arrivedEvent())
            return event;
        if (!isUsable() || !awaitSocket(POLLIN, deadline))
            return {};
    }
}

X11Connection::Event X11Connection::arrivedEvent() {
    auto event = keptEvent();
    return event ? std::move(event) : Event(xcb_poll_for_event(m_xcb));
}

X11Connection::Event X11Connection::queuedEvent() {
    auto event = keptEvent();
    return event ? std::move(event) : Event(xcb_poll_for_queued_event(m_xcb));
}

X11Connection::Event X11Connection::keptEvent() {
    if (m_setAside.empty())
        return {};
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
    if (m_readObserver)
        m_readObserver();
    return reply;
}

bool X11Connection::awaitSocket(short events, const QDeadlineTimer &deadline) const {
    pollfd socket{fileDescriptor(), events, 0};
    for (;;) {
        const auto result = ::poll(&socket, 1, static_cast<int>(deadline.remainingTime()));
        if (result >= 0 || errno != EINTR)
            return result > 0;
    }
}

} // namespace quillora::platform
