#pragma once

#include "support/XcbClient.h"

#include <optional>

namespace quillora::test {

/// A window of another program. Its program ends with this object.
class TestWindow {
public:
    struct Properties {
        QByteArray windowClass = "Target"; ///< empty: it has none
        std::optional<uint32_t> processId; ///< what it says, true or not
        bool isOverrideRedirect = false;
        QByteArray machine = {}; ///< that its program says it runs on; empty: it does not say
    };

    struct Key {
        xcb_keycode_t keycode;
        bool isDown;
        unsigned modifiers; ///< held with it, locks left out

        bool operator==(const Key &) const = default;
    };

    TestWindow(const QByteArray &displayName, const Properties &properties);

    xcb_window_t id() const { return m_id; }

    /// Maps the window and returns once it can be seen.
    void show();

    /// Gives it the keyboard without asking a window manager.
    void takeFocus();

    /// Asks the window manager for the front, as a task bar does.
    void activate();

    /// As programs close a window that they may want again: unmapped, and the window manager told.
    void hide();
    void setClass(const QByteArray &windowClass);
    void minimise();
    void moveToDesktop(uint32_t number);

    /// The window is gone, its program is not.
    void close();

    /// The window is gone, and another with its number is on the screen.
    void replaceBy(const Properties &properties);

    bool isViewable() const;
    bool hasFocus() const;
    bool isActive() const;

    /// Whether a window manager, however simple, has taken it on.
    bool isManaged() const;

    /// The keys that it has been given since the last call.
    std::vector<Key> takeKeys();

private:
    void create(const Properties &properties);
    void setText(xcb_atom_t property, const QByteArray &value);

    XcbClient m_client;
    xcb_window_t m_id;
};

} // namespace quillora::test
