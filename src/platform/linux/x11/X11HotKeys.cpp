#include "platform/linux/x11/X11HotKeys.h"

#include "platform/linux/x11/X11KeyPositions.h"
#include "platform/linux/x11/X11Keymap.h"
#include "platform/linux/x11/X11KeysDown.h"
#include "platform/linux/x11/X11Xkb.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <xcb/xinput.h>

namespace quillora::platform {

namespace {

constexpr uint16_t meaningfulModifiers =
    XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT;

uint16_t modifierMask(quint32 modifiers) {
    unsigned mask = 0;
    if (modifiers & controlModifier)
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers & optionModifier)
        mask |= XCB_MOD_MASK_1;
    if (modifiers & commandModifier)
        mask |= XCB_MOD_MASK_4;
    if (modifiers & shiftModifier)
        mask |= XCB_MOD_MASK_SHIFT;
    return static_cast<uint16_t>(mask);
}

/// Those of `variants` that are not among the others.
std::vector<uint16_t> difference(const std::vector<uint16_t> &variants, const std::vector<uint16_t> &others) {
    std::vector<uint16_t> rest;
    std::ranges::copy_if(variants, std::back_inserter(rest),
                         [&](uint16_t variant) { return !std::ranges::count(others, variant); });
    return rest;
}

/// The modifiers together with every state that the locks may be in.
std::vector<uint16_t> lockVariants(const X11Keymap &keymap, uint16_t modifiers) {
    std::vector<uint16_t> variants{modifiers};
    for (const auto lock : keymap.lockModifiers()) {
        const auto mask = static_cast<uint16_t>(1u << lock);
        if (mask & modifiers)
            continue;
        const auto withoutLock = variants;
        for (const auto variant : withoutLock)
            variants.push_back(static_cast<uint16_t>(variant | mask));
    }
    return variants;
}

} // namespace

/// Gives its hotkey back.
class X11HotKeys::Taken final : public TakenHotKey {
public:
    Taken(X11HotKeys &hotKeys, quint64 number) : m_hotKeys(hotKeys), m_number(number) {}
    ~Taken() override { m_hotKeys.giveBack(m_number); }
    Taken(const Taken &) = delete;
    Taken &operator=(const Taken &) = delete;

private:
    X11HotKeys &m_hotKeys;
    quint64 m_number;
};

class X11HotKeys::Suspension final : public HotKeySuspension {
public:
    explicit Suspension(X11HotKeys &hotKeys) : m_hotKeys(hotKeys) { m_hotKeys.startSuspension(); }
    ~Suspension() override { m_hotKeys.endSuspension(); }
    Suspension(const Suspension &) = delete;
    Suspension &operator=(const Suspension &) = delete;

private:
    X11HotKeys &m_hotKeys;
};

X11HotKeys::X11HotKeys(X11Events &events) : m_connection(events.connection()) {
    m_keyCheck.setInterval(keyCheckInterval);
    connect(&m_keyCheck, &QTimer::timeout, this, &X11HotKeys::checkKeys);
    connect(&events, &X11Events::received, this, &X11HotKeys::handle);
    connect(&events, &X11Events::lost, &m_keyCheck, &QTimer::stop);
    if (m_connection.has(xcb_xkb_id)) {
        watchKeymap();
        m_areRepeatsDetectable = makeRepeatsDetectable();
    }
    if (m_connection.has(xcb_input_id)) {
        const auto version = m_connection.reply(xcb_input_xi_query_version_reply,
                                                xcb_input_xi_query_version(m_connection.xcb(), 2, 0));
        m_hasInputExtension = version && version->major_version >= 2;
    }
}

void X11HotKeys::watchKeymap() {
    auto *xcb = m_connection.xcb();
    m_connection.reply(xcb_xkb_use_extension_reply, xcb_xkb_use_extension(xcb, 1, 0));
    // Asked now, since nothing answers any more once the server has gone.
    if (const auto *keyboardExtension = xcb_get_extension_data(xcb, &xcb_xkb_id))
        m_keymapEvent = keyboardExtension->first_event;
    constexpr uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(xcb, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, parts, parts, nullptr);
    m_connection.flush();
}

bool X11HotKeys::makeRepeatsDetectable() {
    constexpr uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const auto answer = m_connection.reply(
        xcb_xkb_per_client_flags_reply, xcb_xkb_per_client_flags(m_connection.xcb(), XCB_XKB_ID_USE_CORE_KBD,
                                                                 detectable, detectable, 0, 0, 0));
    return answer && (answer->value & detectable);
}

std::unique_ptr<TakenHotKey> X11HotKeys::take(const KeyCombination &combination, HotKeyListener listener) {
    const auto keycode = X11KeyPositions::keycodeAt(combination.keyCode);
    const bool isPossible =
        keycode && !isModifierPosition(combination.keyCode) && (combination.modifiers & hotKeyModifiers);
    const uint16_t mask = modifierMask(combination.modifiers);
    if (!isPossible || !m_areRepeatsDetectable || isTaken(*keycode, mask))
        return nullptr;
    HotKey hotKey{std::move(listener), *keycode, mask, {}, stateOfHeldKey(*keycode)};
    if (!grab(hotKey, X11Keymap(m_connection)))
        return nullptr;
    if (m_suspensions > 0)
        ungrab(hotKey);
    m_hotKeys.emplace(++m_lastNumber, std::move(hotKey));
    m_connection.sync();
    watchKeys();
    return std::make_unique<Taken>(*this, m_lastNumber);
}

void X11HotKeys::giveBack(quint64 number) {
    auto removed = m_hotKeys.extract(number);
    ungrab(removed.mapped());
    releaseActiveGrab();
    m_connection.sync();
    watchKeys();
    // Nobody would tell of it any more once the key is up.
    if (removed.mapped().keyState == KeyState::down)
        removed.mapped().listener.released();
}

std::unique_ptr<HotKeySuspension> X11HotKeys::suspend() { return std::make_unique<Suspension>(*this); }

void X11HotKeys::startSuspension() {
    if (++m_suspensions > 1)
        return;
    for (auto &[number, hotKey] : m_hotKeys)
        ungrab(hotKey);
    releaseActiveGrab();
    m_connection.sync();
}

void X11HotKeys::endSuspension() {
    if (--m_suspensions > 0)
        return;
    grabAgain();
    for (auto &[number, hotKey] : m_hotKeys) {
        if (hotKey.keyState == KeyState::up)
            hotKey.keyState = stateOfHeldKey(hotKey.keycode);
    }
    watchKeys();
}

bool X11HotKeys::isGrabbed(xcb_keycode_t keycode, uint16_t modifiers) const {
    return std::ranges::any_of(m_hotKeys, [&](const auto &entry) {
        return entry.second.keycode == keycode && std::ranges::count(entry.second.grabbed, modifiers);
    });
}

void X11HotKeys::releaseActiveGrab() {
    // Without asking whether a hotkey is down: its press may be on its way here still.
    xcb_ungrab_keyboard(m_connection.xcb(), XCB_CURRENT_TIME);
    m_connection.flush();
}

void X11HotKeys::handle(const xcb_generic_event_t *event) {
    const unsigned type = typeOf(*event);
    if (type == XCB_KEY_PRESS) {
        handlePress(as<xcb_key_press_event_t>(*event));
    } else if (type == XCB_KEY_RELEASE) {
        handleRelease(as<xcb_key_release_event_t>(*event).detail);
    } else if (type == XCB_MAPPING_NOTIFY || type == m_keymapEvent) {
        handleKeymapChange();
    }
}

void X11HotKeys::handlePress(const xcb_key_press_event_t &event) {
    for (auto &[number, hotKey] : m_hotKeys) {
        const bool isPress = hotKey.keycode == event.detail && hotKey.keyState == KeyState::up &&
                             hotKey.modifiers == (event.state & meaningfulModifiers);
        if (!isPress)
            continue;
        hotKey.keyState = KeyState::down;
        watchKeys();
        const auto listener = hotKey.listener; // it may give the hotkey back
        listener.pressed();
        return;
    }
}

void X11HotKeys::handleRelease(xcb_keycode_t keycode) {
    const auto isHeld = [keycode](const auto &entry) {
        return entry.second.keycode == keycode && entry.second.keyState != KeyState::up;
    };
    // Looked for anew each time, since a listener may give hotkeys back.
    for (auto held = std::ranges::find_if(m_hotKeys, isHeld); held != m_hotKeys.end();
         held = std::ranges::find_if(m_hotKeys, isHeld)) {
        const auto listener = held->second.listener;
        if (std::exchange(held->second.keyState, KeyState::up) == KeyState::down)
            listener.released();
    }
    watchKeys();
}

void X11HotKeys::checkKeys() {
    // It is not asked over and over while it hangs.
    if (m_connection.isSilent())
        return;
    const X11KeysDown keysDown(m_connection);
    if (!keysDown.isKnown())
        return;
    std::vector<xcb_keycode_t> wentUp;
    for (const auto &[number, hotKey] : m_hotKeys) {
        if (hotKey.keyState != KeyState::up && !keysDown.contains(hotKey.keycode))
            wentUp.push_back(hotKey.keycode);
    }
    for (const auto keycode : wentUp)
        handleRelease(keycode);
}

void X11HotKeys::watchKeys() {
    const bool isAnyDown = std::ranges::any_of(
        m_hotKeys, [](const auto &entry) { return entry.second.keyState != KeyState::up; });
    if (isAnyDown == m_keyCheck.isActive())
        return;
    if (isAnyDown)
        m_keyCheck.start();
    else
        m_keyCheck.stop();
}

void X11HotKeys::handleKeymapChange() {
    // One change of layout comes as a burst of events.
    if (std::exchange(m_isGrabbingAgainPending, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_isGrabbingAgainPending = false;
            grabAgain();
        },
        Qt::QueuedConnection);
}

void X11HotKeys::grabAgain() {
    // A server that has gone refuses everything, which says nothing about other programs.
    if (m_suspensions > 0 || !m_connection.isUsable())
        return;
    if (m_connection.isSilent())
        return grabAgainLater();
    const X11Keymap keymap(m_connection);
    for (auto &[number, hotKey] : m_hotKeys) {
        const bool isLost = !grab(hotKey, keymap);
        if (m_connection.isSilent())
            return grabAgainLater();
        if (std::exchange(hotKey.isLost, isLost) != isLost)
            tellLater(number, isLost ? HotKeyOutcome::Kind::lost : HotKeyOutcome::Kind::hadAgain);
    }
    m_connection.flush();
}

/// What a server that hangs does not answer says nothing either.
void X11HotKeys::grabAgainLater() {
    QTimer::singleShot(silenceCheckInterval, this, &X11HotKeys::handleKeymapChange);
}

bool X11HotKeys::grab(HotKey &hotKey, const X11Keymap &keymap) {
    if (!keymap.isKnown())
        return false;
    const auto wanted = lockVariants(keymap, hotKey.modifiers);
    const auto before = std::exchange(hotKey.grabbed, wanted);
    // What is grabbed already is only let go of once its successor is grabbed: no press falls in between.
    const bool isHad = grab(hotKey.keycode, difference(wanted, before));
    ungrab(hotKey.keycode, difference(before, wanted));
    if (isHad)
        return true;
    ungrab(hotKey);
    m_connection.sync();
    return false;
}

void X11HotKeys::ungrab(HotKey &hotKey) { ungrab(hotKey.keycode, std::exchange(hotKey.grabbed, {})); }

bool X11HotKeys::grab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers) {
    if (modifiers.empty())
        return true;
    auto *xcb = m_connection.xcb();
    // This one only keeps others off, and so it comes first: the server looks at the newest grab first.
    std::optional<xcb_input_xi_passive_grab_device_cookie_t> inputExtensionGrab;
    if (m_hasInputExtension) {
        const std::vector<uint32_t> masks(modifiers.begin(), modifiers.end());
        const uint32_t noEvents = 0;
        inputExtensionGrab = xcb_input_xi_passive_grab_device(
            xcb, XCB_CURRENT_TIME, m_connection.root(), XCB_NONE, keycode, XCB_INPUT_DEVICE_ALL_MASTER,
            static_cast<uint16_t>(masks.size()), 1, XCB_INPUT_GRAB_TYPE_KEYCODE, XCB_INPUT_GRAB_MODE_22_ASYNC,
            XCB_GRAB_MODE_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER, &noEvents, masks.data());
    }
    std::vector<xcb_void_cookie_t> coreGrabs;
    coreGrabs.reserve(modifiers.size());
    for (const auto variant : modifiers)
        coreGrabs.push_back(xcb_grab_key_checked(xcb, 0, m_connection.root(), variant, keycode,
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));

    bool isHad = true;
    if (inputExtensionGrab) {
        const auto refusals = m_connection.reply(xcb_input_xi_passive_grab_device_reply, *inputExtensionGrab);
        isHad = refusals && refusals->num_modifiers == 0;
    }
    for (const auto coreGrab : coreGrabs)
        isHad &= m_connection.succeeds(coreGrab);
    return isHad;
}

void X11HotKeys::ungrab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers) {
    if (modifiers.empty())
        return;
    auto *xcb = m_connection.xcb();
    if (m_hasInputExtension) {
        const std::vector<uint32_t> masks(modifiers.begin(), modifiers.end());
        xcb_input_xi_passive_ungrab_device(xcb, m_connection.root(), keycode, XCB_INPUT_DEVICE_ALL_MASTER,
                                           static_cast<uint16_t>(masks.size()), XCB_INPUT_GRAB_TYPE_KEYCODE,
                                           masks.data());
    }
    for (const auto variant : modifiers)
        xcb_ungrab_key(xcb, keycode, m_connection.root(), variant);
}

X11HotKeys::KeyState X11HotKeys::stateOfHeldKey(xcb_keycode_t keycode) const {
    return X11KeysDown(m_connection).contains(keycode) ? KeyState::heldOver : KeyState::up;
}

bool X11HotKeys::isTaken(xcb_keycode_t keycode, uint16_t modifiers) const {
    return std::ranges::any_of(m_hotKeys, [&](const auto &entry) {
        return entry.second.keycode == keycode && entry.second.modifiers == modifiers;
    });
}

void X11HotKeys::tellLater(quint64 number, HotKeyOutcome::Kind outcome) {
    QMetaObject::invokeMethod(
        this,
        [this, number, outcome] {
            const auto hotKey = m_hotKeys.find(number);
            if (hotKey == m_hotKeys.end())
                return;
            const auto listener = hotKey->second.listener; // it may give the hotkey back
            listener.outcome({.kind = outcome});
        },
        Qt::QueuedConnection);
}

} // namespace quillora::platform
