#include "platform/linux/x11/X11Windows.h"

#include <QList>

#include <algorithm>
#include <cstring>

namespace quillora::platform {

namespace {
constexpr uint32_t longestProperty = 65536; // in units of four bytes
constexpr uint32_t everyDesktop = 0xffffffff;
} // namespace

std::optional<xcb_window_t> X11Windows::active() const {
    if (!isActiveWindowManaged())
        return withKeyboard();
    const auto window = numbers(m_connection.root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW);
    if (window.empty() || window.front() == XCB_NONE)
        return {};
    return window.front();
}

bool X11Windows::isActiveWindowManaged() const {
    // A window manager that died leaves its properties on the root window, but not the window they name.
    const auto check = numbers(m_connection.root(), "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW);
    if (check.empty() || numbers(check.front(), "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW) != check)
        return false;
    const auto supported = numbers(m_connection.root(), "_NET_SUPPORTED", XCB_ATOM_ATOM);
    return std::ranges::count(supported, m_connection.atom("_NET_ACTIVE_WINDOW")) != 0;
}

std::vector<xcb_window_t> X11Windows::stacked() const {
    std::vector<xcb_window_t> windows =
        numbers(m_connection.root(), "_NET_CLIENT_LIST_STACKING", XCB_ATOM_WINDOW);
    if (windows.empty() || !isActiveWindowManaged()) {
        const auto tree =
            m_connection.reply(xcb_query_tree_reply, xcb_query_tree(m_connection.xcb(), m_connection.root()));
        if (!tree)
            return {};
        const auto *children = xcb_query_tree_children(tree.get());
        windows.assign(children, children + xcb_query_tree_children_length(tree.get()));
    }
    std::ranges::reverse(windows);
    return windows;
}

bool X11Windows::isPresent(xcb_window_t window) const {
    const auto map = mapState(window);
    if (!map)
        return false;
    return *map != XCB_MAP_STATE_UNMAPPED || state(window).value_or(State::withdrawn) != State::withdrawn;
}

bool X11Windows::isSeen(xcb_window_t window) const { return mapState(window) == XCB_MAP_STATE_VIEWABLE; }

std::optional<uint32_t> X11Windows::otherDesktop(xcb_window_t window) const {
    const auto desktop = numbers(window, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL);
    const auto current = numbers(m_connection.root(), "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL);
    if (desktop.empty() || desktop.front() == everyDesktop || desktop == current)
        return {};
    return desktop.front();
}

std::optional<QString> X11Windows::windowClass(xcb_window_t window) const {
    // The instance's name and the class's, each with a zero after it.
    const auto names = bytes(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING).split('\0');
    if (names.size() < 2 || names[1].isEmpty())
        return {};
    return QString::fromUtf8(names[1]);
}

QByteArray X11Windows::machine(xcb_window_t window) const {
    return bytes(window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING);
}

std::optional<quint32> X11Windows::processId(xcb_window_t window) const {
    const auto number = numbers(window, "_NET_WM_PID", XCB_ATOM_CARDINAL);
    if (number.empty())
        return {};
    return number.front();
}

std::optional<xcb_window_t> X11Windows::withKeyboard() const {
    const auto focus = m_connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection.xcb()));
    if (!focus || focus->focus == XCB_INPUT_FOCUS_NONE)
        return {};
    return topLevelAround(focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT ? underPointer() : focus->focus);
}

xcb_window_t X11Windows::underPointer() const {
    xcb_window_t window = m_connection.root();
    for (;;) {
        const auto pointer =
            m_connection.reply(xcb_query_pointer_reply, xcb_query_pointer(m_connection.xcb(), window));
        if (!pointer || pointer->child == XCB_NONE)
            return window;
        window = pointer->child;
    }
}

std::optional<xcb_window_t> X11Windows::topLevelAround(xcb_window_t window) const {
    while (window != m_connection.root()) {
        if (state(window))
            return window;
        const auto tree =
            m_connection.reply(xcb_query_tree_reply, xcb_query_tree(m_connection.xcb(), window));
        if (!tree)
            return {};
        if (tree->parent == m_connection.root())
            return window;
        window = tree->parent;
    }
    return {};
}

std::optional<X11Windows::State> X11Windows::state(xcb_window_t window) const {
    const auto words = numbers(window, "WM_STATE", m_connection.atom("WM_STATE"));
    if (words.empty())
        return {};
    return State{words.front()};
}

std::optional<uint8_t> X11Windows::mapState(xcb_window_t window) const {
    const auto attributes = m_connection.reply(xcb_get_window_attributes_reply,
                                               xcb_get_window_attributes(m_connection.xcb(), window));
    if (!attributes)
        return {};
    return attributes->map_state;
}

QByteArray X11Windows::bytes(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const {
    const auto value =
        m_connection.reply(xcb_get_property_reply, xcb_get_property(m_connection.xcb(), 0, window, property,
                                                                    type, 0, longestProperty));
    if (!value || value->type != type)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(value.get())),
            xcb_get_property_value_length(value.get())};
}

std::vector<uint32_t> X11Windows::numbers(xcb_window_t window, const QByteArray &property,
                                          xcb_atom_t type) const {
    const QByteArray value = bytes(window, m_connection.atom(property), type);
    std::vector<uint32_t> words(static_cast<size_t>(value.size()) / sizeof(uint32_t));
    if (!words.empty())
        std::memcpy(words.data(), value.constData(), words.size() * sizeof(uint32_t));
    return words;
}

} // namespace quillora::platform
