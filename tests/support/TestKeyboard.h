#pragma once

#include "support/XcbClient.h"

#include <optional>
#include <set>

namespace quillora::test {

/// The user's hands on the keyboard of a virtual display. Keys are the server's keycodes. Whatever is still
/// held is let go with this object.
class TestKeyboard {
public:
    static constexpr xcb_keycode_t control = 37;
    static constexpr xcb_keycode_t rightControl = 105;
    static constexpr xcb_keycode_t shift = 50;
    static constexpr xcb_keycode_t rightShift = 62;
    static constexpr xcb_keycode_t alt = 64;
    static constexpr xcb_keycode_t super = 133;
    static constexpr xcb_keycode_t capsLock = 66;
    static constexpr xcb_keycode_t numLock = 77;
    static constexpr xcb_keycode_t scrollLock = 78;
    static constexpr xcb_keycode_t space = 65;

    /// The keyboard is the server's own for tests, or the device of that number.
    explicit TestKeyboard(const QByteArray &displayName, std::optional<uint8_t> device = {})
        : m_client(displayName), m_device(device) {}
    ~TestKeyboard();

    void press(xcb_keycode_t key);
    void release(xcb_keycode_t key);
    void tap(xcb_keycode_t key);
    void tapWith(const std::vector<xcb_keycode_t> &held, xcb_keycode_t key);
    void releaseAll();

    /// Switches to the layout at this place in the list that setxkbmap got.
    void lockGroup(uint8_t group);

    /// Locks exactly these of the eight modifiers, as lock keys do.
    void lockModifiers(uint8_t modifiers);

    /// From here on a tap of Shift, Ctrl, Alt or Super holds for the next key, and a second one until a
    /// third.
    void stickModifiers();

    /// Ends it. So does the server when a modifier is held with another key.
    void unstickModifiers();
    bool doModifiersStick() const;

    /// The keys that the server holds to be down.
    std::vector<xcb_keycode_t> keysDown() const;

    /// The modifiers in force, locks included.
    unsigned modifiers() const;

private:
    void setStickyKeys(uint32_t controls);
    void fake(uint8_t type, xcb_keycode_t key);

    XcbClient m_client;
    std::optional<uint8_t> m_device;
    std::set<xcb_keycode_t> m_held;
};

} // namespace quillora::test
