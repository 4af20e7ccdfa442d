#include "platform/linux/x11/X11Keystrokes.h"

#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11KeyPositions.h"
#include "platform/linux/x11/X11Keymap.h"
#include "platform/linux/x11/X11KeysDown.h"
#include "platform/linux/x11/X11PasteChord.h"
#include "platform/linux/x11/X11StickyKeys.h"
#include "platform/linux/x11/X11Windows.h"
#include "platform/linux/x11/X11Xkb.h"

#include <algorithm>
#include <utility>
#include <xcb/xtest.h>

namespace quillora::platform {

namespace {

constexpr quint16 ansiVKeyCode = 9;
constexpr quint16 insertKeyCode = 114;
constexpr xcb_keysym_t vSymbol = 0x0076;
constexpr xcb_keysym_t insertSymbol = 0xff63;

/// Where the modifier's key is on an ordinary keyboard.
quint32 usualKeyCode(xcb_map_index_t modifier) {
    switch (modifier) {
    case XCB_MAP_INDEX_SHIFT:
        return 56;
    case XCB_MAP_INDEX_1:
        return 58;
    case XCB_MAP_INDEX_4:
        return 55;
    default:
        return 59;
    }
}

/// A key that acts as the modifier in this layout: the usual one, or another where the user has a finger on
/// that. He may take the finger off in the middle of the chord.
std::optional<xcb_keycode_t> modifierKey(xcb_map_index_t modifier, const X11Keymap &keymap,
                                         const X11KeysDown &keysDown) {
    auto keys = keymap.modifierKeys(modifier);
    if (keys.empty())
        return {};
    const auto usual = X11KeyPositions::keycodeAt(usualKeyCode(modifier));
    std::ranges::partition(keys, [usual](xcb_keycode_t key) { return key == usual; });
    const auto free = std::ranges::find_if(keys, [&](xcb_keycode_t key) { return !keysDown.contains(key); });
    return free != keys.end() ? *free : keys.front();
}

xcb_keycode_t keyOrPosition(const X11Keymap &keymap, xcb_keysym_t symbol, quint16 keyCode) {
    if (const auto key = keymap.keyFor(symbol))
        return *key;
    return X11KeyPositions::keycodeAt(keyCode).value();
}

} // namespace

X11Keystrokes::X11Keystrokes(X11Events &events, X11HotKeys &hotKeys,
                             std::function<void()> preparePrimarySelection)
    : m_connection(events.connection()), m_hotKeys(hotKeys),
      m_preparePrimarySelection(std::move(preparePrimarySelection)) {
    QObject::connect(&events, &X11Events::lost, &m_lossContext, [this] {
        if (const auto observer = m_trustObserver) // it may end the watch
            observer();
    });
}

bool X11Keystrokes::isTrusted() { return m_connection.has(xcb_test_id); }

void X11Keystrokes::postPasteChord(const Condition &condition, Outcome outcome) {
    if (!isTrusted())
        return outcome(false);
    // What a server that hangs were asked for now it would do later, wherever the keyboard is by then.
    const X11Keymap keymap(m_connection);
    if (!keymap.isKnown())
        return outcome(false);
    const auto chord = preparedPasteChord(keymap);
    std::unique_ptr<HotKeySuspension> passage;
    if (isHotKey(chord))
        passage = m_hotKeys.suspend();
    bool isPressed = false;
    {
        const X11StickyKeys stickyKeys(m_connection); // kept as they are
        isPressed = press(chord, keymap, condition);
        letGo();
    }
    passage.reset();
    outcome(isPressed && m_connection.isUsable());
}

X11Keystrokes::Chord X11Keystrokes::preparedPasteChord(const X11Keymap &keymap) const {
    const X11Windows windows(m_connection);
    const auto target = windows.active();
    const auto windowClass = target ? windows.windowClass(*target) : std::nullopt;
    switch (pasteChordFor(windowClass)) {
    case X11PasteChord::shiftInsertPrimary:
        if (m_preparePrimarySelection)
            m_preparePrimarySelection();
        [[fallthrough]];
    case X11PasteChord::shiftInsert:
        return {{XCB_MAP_INDEX_SHIFT}, keyOrPosition(keymap, insertSymbol, insertKeyCode)};
    case X11PasteChord::controlShiftV:
        return {{XCB_MAP_INDEX_CONTROL, XCB_MAP_INDEX_SHIFT}, keyOrPosition(keymap, vSymbol, ansiVKeyCode)};
    case X11PasteChord::controlV:
        break;
    }
    return {{XCB_MAP_INDEX_CONTROL}, keyOrPosition(keymap, vSymbol, ansiVKeyCode)};
}

/// A hotkey may be the very combination that pastes.
bool X11Keystrokes::isHotKey(const Chord &chord) const {
    unsigned modifiers = 0;
    for (const auto modifier : chord.modifiers)
        modifiers |= 1u << modifier;
    return m_hotKeys.isGrabbed(chord.key, static_cast<uint16_t>(modifiers));
}

/// False if it is not known what is to be lifted, or the condition does not hold.
bool X11Keystrokes::press(const Chord &chord, const X11Keymap &keymap, const Condition &condition) {
    const X11KeysDown keysDown(m_connection);
    if (!keysDown.isKnown() || !condition())
        return false;
    // It would swallow the chord. Nothing is waited for from here on, so that no new one comes in between.
    m_hotKeys.releaseActiveGrab();
    replaceModifiersByControl(keymap, keysDown);
    if (!std::ranges::count(chord.modifiers, XCB_MAP_INDEX_CONTROL))
        letGo();
    unstickModifiers(keymap);
    for (const auto modifier : chord.modifiers) {
        const auto key = modifierKey(modifier, keymap, keysDown);
        if (key && modifier != XCB_MAP_INDEX_CONTROL)
            hold(*key);
    }
    if (keysDown.contains(chord.key))
        fake(XCB_KEY_RELEASE, chord.key);
    hold(chord.key);
    m_connection.flush();
    return true;
}

void X11Keystrokes::replaceModifiersByControl(const X11Keymap &keymap, const X11KeysDown &keysDown) {
    const auto control = modifierKey(XCB_MAP_INDEX_CONTROL, keymap, keysDown);
    const auto lift = [&](xcb_map_index_t modifier) {
        for (const auto key : keymap.modifierKeys(modifier)) {
            if (keysDown.contains(key) && key != control)
                fake(XCB_KEY_RELEASE, key);
        }
    };
    // Shift first: together with Ctrl it may switch layouts. Alt and Super only once Ctrl is down: alone,
    // their release opens menus.
    lift(XCB_MAP_INDEX_SHIFT);
    if (control)
        hold(*control);
    lift(XCB_MAP_INDEX_CONTROL);
    const auto locks = keymap.lockModifiers();
    for (const auto modifier :
         {XCB_MAP_INDEX_1, XCB_MAP_INDEX_2, XCB_MAP_INDEX_3, XCB_MAP_INDEX_4, XCB_MAP_INDEX_5}) {
        if (!std::ranges::count(locks, modifier))
            lift(modifier);
    }
}

/// After all that has been lifted: with sticky keys, a modifier sticks by going up alone.
void X11Keystrokes::unstickModifiers(const X11Keymap &keymap) {
    if (!m_connection.has(xcb_xkb_id))
        return;
    uint8_t modifiers = 0xff;
    for (const auto lock : keymap.lockModifiers())
        modifiers &= static_cast<uint8_t>(~(1u << lock));
    constexpr uint8_t none = 0;
    xcb_xkb_latch_lock_state(m_connection.xcb(), XCB_XKB_ID_USE_CORE_KBD, modifiers, none, 0, 0, modifiers, 0,
                             0);
}

void X11Keystrokes::hold(xcb_keycode_t key) {
    fake(XCB_KEY_PRESS, key);
    m_pressed.push_back(key);
}

void X11Keystrokes::letGo() {
    if (m_pressed.empty())
        return;
    for (auto key = m_pressed.rbegin(); key != m_pressed.rend(); ++key)
        fake(XCB_KEY_RELEASE, *key);
    m_pressed.clear();
    m_connection.flush();
}

void X11Keystrokes::fake(uint8_t type, xcb_keycode_t key) {
    xcb_test_fake_input(m_connection.xcb(), type, key, XCB_CURRENT_TIME, m_connection.root(), 0, 0, 0);
}

} // namespace quillora::platform
