#pragma once

#include "platform/linux/x11/X11Connection.h"

#include <optional>
#include <vector>

namespace quillora::platform {

/// What the keys mean at one moment: the layout, its group in force and the keys that act as modifiers.
class X11Keymap {
public:
    explicit X11Keymap(X11Connection &connection);

    /// Whether the server has told it; else no key means anything.
    bool isKnown() const { return m_modifiers != nullptr; }

    /// The key that gives the symbol without modifiers in the group in force, else in another group, as
    /// toolkits look for shortcuts too; nothing if no key does.
    std::optional<xcb_keycode_t> keyFor(xcb_keysym_t symbol) const;

    /// The keys that act as the modifier.
    std::vector<xcb_keycode_t> modifierKeys(xcb_map_index_t modifier) const;

    /// The modifiers that Caps Lock, Num Lock and Scroll Lock stand for in this layout.
    std::vector<xcb_map_index_t> lockModifiers() const;

private:
    struct Key {
        xcb_keycode_t keycode;
        std::vector<xcb_keysym_t> symbols; ///< without modifiers, one for each group
        uint8_t groupInfo;                 ///< what to do for a group that the key does not have
    };

    void readSymbols(X11Connection &connection, xcb_keycode_t first, uint8_t count);
    static std::optional<xcb_keysym_t> symbolInGroup(const Key &key, size_t group);
    bool isModifierWithSymbol(xcb_map_index_t modifier, xcb_keysym_t symbol) const;

    std::vector<Key> m_keys;
    size_t m_group = 0;
    X11Reply<xcb_get_modifier_mapping_reply_t> m_modifiers;
};

} // namespace quillora::platform
