#include "platform/linux/x11/X11Keymap.h"

#include "platform/linux/x11/X11Xkb.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

constexpr xcb_keysym_t numLockSymbol = 0xff7f;
constexpr xcb_keysym_t scrollLockSymbol = 0xff14;

constexpr xcb_map_index_t allModifiers[] = {XCB_MAP_INDEX_SHIFT, XCB_MAP_INDEX_LOCK, XCB_MAP_INDEX_CONTROL,
                                            XCB_MAP_INDEX_1,     XCB_MAP_INDEX_2,    XCB_MAP_INDEX_3,
                                            XCB_MAP_INDEX_4,     XCB_MAP_INDEX_5};

/// Layout of the byte that says how many groups a key has and what stands for the others.
constexpr uint8_t outOfRangeMask = 0xc0;
constexpr uint8_t clampIntoRange = 0x40;
constexpr uint8_t redirectIntoRange = 0x80;

} // namespace

X11Keymap::X11Keymap(X11Connection &connection) {
    const auto *setup = xcb_get_setup(connection.xcb());
    if (!connection.isUsable())
        return;
    if (connection.has(xcb_xkb_id)) {
        readSymbols(connection, setup->min_keycode,
                    static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1));
        const auto state = connection.reply(xcb_xkb_get_state_reply,
                                            xcb_xkb_get_state(connection.xcb(), XCB_XKB_ID_USE_CORE_KBD));
        m_group = state ? state->group : 0;
    }
    m_modifiers =
        connection.reply(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(connection.xcb()));
}

void X11Keymap::readSymbols(X11Connection &connection, xcb_keycode_t first, uint8_t count) {
    const auto map =
        connection.reply(xcb_xkb_get_map_reply, xcb_xkb_get_map(connection.xcb(), XCB_XKB_ID_USE_CORE_KBD, 0,
                                                                XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, first, count,
                                                                0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    if (!map)
        return;
    xcb_xkb_get_map_map_t parts{};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(map.get()), map->nTypes, map->nKeySyms, map->nKeyActions,
                               map->totalActions, map->totalKeyBehaviors, map->virtualMods,
                               map->totalKeyExplicit, map->totalModMapKeys, map->totalVModMapKeys,
                               map->present, &parts);
    unsigned keycode = map->firstKeySym;
    for (auto entry = xcb_xkb_get_map_map_syms_rtrn_iterator(map.get(), &parts); entry.rem;
         xcb_xkb_key_sym_map_next(&entry), ++keycode) {
        const auto groups = entry.data->groupInfo & 0x0f;
        const auto *symbols = xcb_xkb_key_sym_map_syms(entry.data);
        Key key{static_cast<xcb_keycode_t>(keycode), {}, entry.data->groupInfo};
        for (ptrdiff_t group = 0; group < groups; ++group)
            key.symbols.push_back(symbols[group * entry.data->width]);
        m_keys.push_back(std::move(key));
    }
}

std::optional<xcb_keysym_t> X11Keymap::symbolInGroup(const Key &key, size_t group) {
    const size_t count = key.symbols.size();
    if (count == 0)
        return {};
    if (group < count)
        return key.symbols[group];
    switch (key.groupInfo & outOfRangeMask) {
    case clampIntoRange:
        return key.symbols.back();
    case redirectIntoRange: {
        const size_t target = (key.groupInfo >> 4) & 3;
        return key.symbols[target < count ? target : 0];
    }
    default:
        return key.symbols[group % count];
    }
}

std::optional<xcb_keycode_t> X11Keymap::keyFor(xcb_keysym_t symbol) const {
    for (const Key &key : m_keys) {
        if (symbolInGroup(key, m_group) == symbol)
            return key.keycode;
    }
    size_t groupCount = 0;
    for (const Key &key : m_keys)
        groupCount = std::max(groupCount, key.symbols.size());
    for (size_t group = 0; group < groupCount; ++group) {
        for (const Key &key : m_keys) {
            if (group < key.symbols.size() && key.symbols[group] == symbol)
                return key.keycode;
        }
    }
    return {};
}

std::vector<xcb_keycode_t> X11Keymap::modifierKeys(xcb_map_index_t modifier) const {
    std::vector<xcb_keycode_t> keys;
    if (!m_modifiers)
        return keys;
    const auto *codes = xcb_get_modifier_mapping_keycodes(m_modifiers.get());
    const unsigned perModifier = m_modifiers->keycodes_per_modifier;
    for (unsigned i = 0; i < perModifier; ++i) {
        const xcb_keycode_t keycode = codes[modifier * perModifier + i];
        if (keycode != XCB_NO_SYMBOL)
            keys.push_back(keycode);
    }
    return keys;
}

bool X11Keymap::isModifierWithSymbol(xcb_map_index_t modifier, xcb_keysym_t symbol) const {
    const auto keys = modifierKeys(modifier);
    return std::ranges::any_of(m_keys, [&](const Key &key) {
        return std::ranges::count(key.symbols, symbol) && std::ranges::count(keys, key.keycode);
    });
}

std::vector<xcb_map_index_t> X11Keymap::lockModifiers() const {
    std::vector<xcb_map_index_t> locks;
    for (const auto modifier : allModifiers) {
        if (modifier == XCB_MAP_INDEX_LOCK || isModifierWithSymbol(modifier, numLockSymbol) ||
            isModifierWithSymbol(modifier, scrollLockSymbol))
            locks.push_back(modifier);
    }
    return locks;
}

} // namespace quillora::platform
