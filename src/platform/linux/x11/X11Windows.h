#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <QString>

#include <optional>
#include <vector>

namespace quillora::platform {

/// What is known of other programs' top-level windows, each of which may be gone by now.
class X11Windows {
public:
    explicit X11Windows(X11Connection &connection) : m_connection(connection) {}

    /// The window that the user works in: what the window manager says, else what has the keyboard.
    std::optional<xcb_window_t> active() const;

    /// Whether a running window manager tells which window is active, and takes requests to change that.
    bool isActiveWindowManaged() const;

    /// All of them, the one on top first.
    std::vector<xcb_window_t> stacked() const;

    /// Whether the user can get at it: it is on the screen, minimised or on another desktop. A window that
    /// its program has closed without destroying it is not.
    bool isPresent(xcb_window_t window) const;

    /// Whether it is on the screen, be it behind others.
    bool isSeen(xcb_window_t window) const;

    /// The desktop that has to be gone to before the window can be seen; nothing if it is this one.
    std::optional<uint32_t> otherDesktop(xcb_window_t window) const;

    /// The class under which its program is known.
    std::optional<QString> windowClass(xcb_window_t window) const;

    /// The machine that its program says it runs on.
    QByteArray machine(xcb_window_t window) const;

    /// The process that it says it belongs to. Sandboxes and machines number theirs each by itself.
    std::optional<quint32> processId(xcb_window_t window) const;

private:
    enum class State : uint32_t { withdrawn = 0, normal = 1, iconic = 3 };

    std::optional<xcb_window_t> withKeyboard() const;
    xcb_window_t underPointer() const;
    std::optional<xcb_window_t> topLevelAround(xcb_window_t window) const;
    /// What its window manager says of it; nothing where none has taken it on.
    std::optional<State> state(xcb_window_t window) const;
    std::optional<uint8_t> mapState(xcb_window_t window) const;
    QByteArray bytes(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const;
    std::vector<uint32_t> numbers(xcb_window_t window, const QByteArray &property, xcb_atom_t type) const;

    X11Connection &m_connection;
};

} // namespace quillora::platform
