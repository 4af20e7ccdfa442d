#include "platform/linux/x11/X11SelectionConnection.h"

#include <cerrno>
#include <poll.h>
#include <utility>

namespace quillora::platform {

namespace {
constexpr char timestampProperty[] = "QUILLORA_TIMESTAMP";
}

X11SelectionConnection::X11SelectionConnection(const QByteArray &displayName) {
    int screenNumber = 0;
    m_connection = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &screenNumber);
    if (!isAlive())
        return;
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (; screenNumber > 0 && screen.rem > 1; --screenNumber)
        xcb_screen_next(&screen);
    m_root = screen.data->root;
}

X11SelectionConnection::~X11SelectionConnection() { xcb_disconnect(m_connection); }

xcb_window_t X11SelectionConnection::createWindow() {
    const auto window = xcb_generate_id(m_connection);
    const uint32_t eventMask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_connection, 0, window, m_root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &eventMask);
    return window;
}

std::optional<std::vector<xcb_atom_t>> X11SelectionConnection::atoms(const std::vector<QByteArray> &names,
                                                                     const QDeadlineTimer &deadline) {
    std::vector<std::pair<QByteArray, xcb_intern_atom_cookie_t>> questions;
    for (const auto &name : names) {
        if (!m_atoms.contains(name))
            questions.emplace_back(
                name, xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(name.size()), name.constData()));
    }
    for (const auto &[name, cookie] : questions) {
        if (const auto answer = reply<xcb_intern_atom_reply_t>(cookie, deadline)) {
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

std::optional<std::vector<QByteArray>> X11SelectionConnection::names(const std::vector<xcb_atom_t> &atoms,
                                                                     const QDeadlineTimer &deadline) {
    std::vector<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> questions;
    for (const auto atom : atoms) {
        if (!m_names.contains(atom))
            questions.emplace_back(atom, xcb_get_atom_name(m_connection, atom));
    }
    for (const auto &[atom, cookie] : questions) {
        if (const auto answer = reply<xcb_get_atom_name_reply_t>(cookie, deadline)) {
            const QByteArray name(xcb_get_atom_name_name(answer.get()),
                                  xcb_get_atom_name_name_length(answer.get()));
            m_names[atom] = name;
            m_atoms[name] = atom;
        } else if (deadline.hasExpired() || !isAlive()) {
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

std::optional<xcb_timestamp_t> X11SelectionConnection::serverTime(xcb_window_t window,
                                                                  const QDeadlineTimer &deadline,
                                                                  const EventHandler &otherwise) {
    const auto property = atoms({timestampProperty}, deadline);
    if (!property)
        return {};
    // Appending nothing changes nothing, yet it is announced, with the time.
    xcb_change_property(m_connection, XCB_PROP_MODE_APPEND, window, property->front(), XCB_ATOM_INTEGER, 32,
                        0, nullptr);
    while (const auto event = nextEvent(deadline)) {
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event.get());
            if (notify->window == window && notify->atom == property->front())
                return notify->time;
        }
        otherwise(*event);
    }
    return {};
}

xcb_window_t X11SelectionConnection::ownerOf(xcb_atom_t selection) {
    const auto owner = reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner(m_connection, selection), serverDeadline());
    return owner ? owner->owner : XCB_NONE;
}

X11SelectionConnection::Event X11SelectionConnection::nextEvent(const QDeadlineTimer &deadline) {
    xcb_flush(m_connection);
    for (;;) {
        if (auto event = arrivedEvent())
            return event;
        if (!isAlive() || !awaitInput(deadline))
            return {};
    }
}

void *X11SelectionConnection::awaitReply(unsigned int sequence, const QDeadlineTimer &deadline) {
    void *reply = nullptr;
    xcb_generic_error_t *error = nullptr;
    xcb_flush(m_connection);
    while (!xcb_poll_for_reply(m_connection, sequence, &reply, &error)) {
        if (!awaitInput(deadline)) {
            xcb_discard_reply(m_connection, sequence);
            return nullptr;
        }
    }
    std::free(error);
    return reply;
}

bool X11SelectionConnection::awaitInput(const QDeadlineTimer &deadline) {
    pollfd input{fileDescriptor(), POLLIN, 0};
    for (;;) {
        const auto result = ::poll(&input, 1, static_cast<int>(deadline.remainingTime()));
        if (result >= 0 || errno != EINTR)
            return result > 0;
    }
}

} // namespace quillora::platform
