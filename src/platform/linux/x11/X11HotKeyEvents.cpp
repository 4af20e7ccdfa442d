#include "platform/linux/x11/X11HotKeyEvents.h"

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

constexpr HotKeyEvents::Status combinationIsTaken = -9878;
constexpr HotKeyEvents::Status combinationIsImpossible = -9879;
constexpr HotKeyEvents::Status referenceIsUnknown = -50;

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

X11HotKeyEvents::X11HotKeyEvents(X11Connection &connection) : m_connection(connection) {
    m_keyCheck.setInterval(keyCheckInterval);
    connect(&m_keyCheck, &QTimer::timeout, this, &X11HotKeyEvents::checkKeys);
    connect(&connection, &X11Connection::eventReceived, this, &X11HotKeyEvents::handle);
    connect(&connection, &X11Connection::lost, &m_keyCheck, &QTimer::stop);
    m_grabRetry.setSingleShot(true);
    m_grabRetry.setInterval(grabRetryInterval);
    connect(&m_grabRetry, &QTimer::timeout, this, &X11HotKeyEvents::grabAgain);
    connect(&connection, &X11Connection::lost, &m_grabRetry, &QTimer::stop);
    if (connection.has(xcb_xkb_id)) {
        watchKeymap();
        m_areRepeatsDetectable = makeRepeatsDetectable();
    }
    if (connection.has(xcb_input_id)) {
        const auto version = connection.reply(xcb_input_xi_query_version_reply,
                                              xcb_input_xi_query_version(connection.xcb(), 2, 0));
        m_hasInputExtension = version && version->major_version >= 2;
    }
}

X11HotKeyEvents::~X11HotKeyEvents() {
    releaseActiveGrab();
    for (auto &[reference, hotKey] : m_hotKeys)
        ungrab(hotKey);
    m_connection.sync();
}

void X11HotKeyEvents::watchKeymap() {
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

bool X11HotKeyEvents::makeRepeatsDetectable() {
    constexpr uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const auto answer = m_connection.reply(
        xcb_xkb_per_client_flags_reply, xcb_xkb_per_client_flags(m_connection.xcb(), XCB_XKB_ID_USE_CORE_KBD,
                                                                 detectable, detectable, 0, 0, 0));
    return answer && (answer->value & detectable);
}

HotKeyEvents::Status X11HotKeyEvents::installEventHandler(EventHandler handler,
                                                          const std::vector<EventTypeSpecification> &types,
                                                          std::optional<EventHandlerReference> &out) {
    m_handlers.emplace(++m_lastReference, Handler{std::move(handler), types});
    out = m_lastReference;
    return noError;
}

HotKeyEvents::Status X11HotKeyEvents::removeEventHandler(EventHandlerReference handler) {
    return m_handlers.erase(handler) ? noError : referenceIsUnknown;
}

HotKeyEvents::Status X11HotKeyEvents::registerEventHotKey(quint32 keyCode, quint32 modifiers,
                                                          const HotKeyIdentifier &identifier, quint32,
                                                          std::optional<HotKeyReference> &out) {
    const auto keycode = X11KeyPositions::keycodeAt(keyCode);
    const bool isPossible = keycode && !isModifierPosition(keyCode) && (modifiers & hotKeyModifiers);
    if (!isPossible || !m_areRepeatsDetectable)
        return combinationIsImpossible;
    const uint16_t mask = modifierMask(modifiers);
    if (isTaken(*keycode, mask))
        return combinationIsTaken;
    HotKey hotKey{identifier, *keycode, mask, {}, stateOfHeldKey(*keycode)};
    if (!grab(hotKey))
        return combinationIsTaken;
    if (m_isSuspended)
        ungrab(hotKey);
    m_hotKeys.emplace(++m_lastReference, std::move(hotKey));
    m_connection.sync();
    watchKeys();
    out = m_lastReference;
    return noError;
}

HotKeyEvents::Status X11HotKeyEvents::unregisterEventHotKey(HotKeyReference hotKey) {
    auto removed = m_hotKeys.extract(hotKey);
    if (!removed)
        return referenceIsUnknown;
    ungrab(removed.mapped());
    releaseActiveGrab();
    m_connection.sync();
    watchKeys();
    // Nobody would tell of it any more once the key is up.
    if (removed.mapped().keyState == KeyState::down)
        deliver(hotKeyReleasedKind, removed.mapped().identifier);
    return noError;
}

void X11HotKeyEvents::suspend() {
    m_isSuspended = true;
    for (auto &[reference, hotKey] : m_hotKeys)
        ungrab(hotKey);
    releaseActiveGrab();
    m_connection.sync();
}

void X11HotKeyEvents::resume() {
    m_isSuspended = false;
    grabAgain();
    for (auto &[reference, hotKey] : m_hotKeys) {
        if (hotKey.keyState == KeyState::up)
            hotKey.keyState = stateOfHeldKey(hotKey.keycode);
    }
    watchKeys();
}

bool X11HotKeyEvents::isGrabbed(xcb_keycode_t keycode, uint16_t modifiers) const {
    return std::ranges::any_of(m_hotKeys, [&](const auto &entry) {
        return entry.second.keycode == keycode && std::ranges::count(entry.second.grabbed, modifiers);
    });
}

void X11HotKeyEvents::releaseActiveGrab() {
    // Without asking whether a hotkey is down: its press may be on its way here still.
    xcb_ungrab_keyboard(m_connection.xcb(), XCB_CURRENT_TIME);
    m_connection.flush();
}

void X11HotKeyEvents::handle(const xcb_generic_event_t *event) {
    const unsigned type = event->response_type & 0x7fu;
    if (type == XCB_KEY_PRESS) {
        handlePress(*reinterpret_cast<const xcb_key_press_event_t *>(event));
    } else if (type == XCB_KEY_RELEASE) {
        handleRelease(reinterpret_cast<const xcb_key_release_event_t *>(event)->detail);
    } else if (type == XCB_MAPPING_NOTIFY || type == m_keymapEvent) {
        handleKeymapChange();
    }
}

void X11HotKeyEvents::handlePress(const xcb_key_press_event_t &event) {
    for (auto &[reference, hotKey] : m_hotKeys) {
        const bool isPress = hotKey.keycode == event.detail && hotKey.keyState == KeyState::up &&
                             hotKey.modifiers == (event.state & meaningfulModifiers);
        if (!isPress)
            continue;
        hotKey.keyState = KeyState::down;
        watchKeys();
        deliver(hotKeyPressedKind, hotKey.identifier);
        return;
    }
}

void X11HotKeyEvents::handleRelease(xcb_keycode_t keycode) {
    std::vector<HotKeyIdentifier> released;
    for (auto &[reference, hotKey] : m_hotKeys) {
        if (hotKey.keycode != keycode)
            continue;
        if (std::exchange(hotKey.keyState, KeyState::up) == KeyState::down)
            released.push_back(hotKey.identifier);
    }
    watchKeys();
    for (const auto &identifier : released)
        deliver(hotKeyReleasedKind, identifier);
}

void X11HotKeyEvents::checkKeys() {
    const X11KeysDown keysDown(m_connection);
    std::vector<xcb_keycode_t> wentUp;
    for (const auto &[reference, hotKey] : m_hotKeys) {
        if (hotKey.keyState != KeyState::up && !keysDown.contains(hotKey.keycode))
            wentUp.push_back(hotKey.keycode);
    }
    for (const auto keycode : wentUp)
        handleRelease(keycode);
}

void X11HotKeyEvents::watchKeys() {
    const bool isAnyDown = std::ranges::any_of(
        m_hotKeys, [](const auto &entry) { return entry.second.keyState != KeyState::up; });
    if (isAnyDown == m_keyCheck.isActive())
        return;
    if (isAnyDown)
        m_keyCheck.start();
    else
        m_keyCheck.stop();
}

void X11HotKeyEvents::handleKeymapChange() {
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

void X11HotKeyEvents::grabAgain() {
    if (m_isSuspended)
        return;
    bool isComplete = true;
    for (auto &[reference, hotKey] : m_hotKeys)
        isComplete &= grab(hotKey);
    m_connection.flush();
    // Another program may have taken the combination meanwhile; it is had back as soon as that lets go.
    if (!isComplete)
        m_grabRetry.start();
}

bool X11HotKeyEvents::grab(HotKey &hotKey) {
    const auto wanted = lockVariants(X11Keymap(m_connection), hotKey.modifiers);
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

void X11HotKeyEvents::ungrab(HotKey &hotKey) { ungrab(hotKey.keycode, std::exchange(hotKey.grabbed, {})); }

bool X11HotKeyEvents::grab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers) {
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

void X11HotKeyEvents::ungrab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers) {
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

X11HotKeyEvents::KeyState X11HotKeyEvents::stateOfHeldKey(xcb_keycode_t keycode) const {
    return X11KeysDown(m_connection).contains(keycode) ? KeyState::heldOver : KeyState::up;
}

bool X11HotKeyEvents::isTaken(xcb_keycode_t keycode, uint16_t modifiers) const {
    return std::ranges::any_of(m_hotKeys, [&](const auto &entry) {
        return entry.second.keycode == keycode && entry.second.modifiers == modifiers;
    });
}

void X11HotKeyEvents::deliver(quint32 kind, const HotKeyIdentifier &identifier) {
    const HotKeyEvent event{kind, identifier};
    const EventTypeSpecification type{keyboardEventClass, kind};
    const auto handlers = m_handlers; // a handler may install or remove some
    for (const auto &[reference, handler] : handlers) {
        if (m_handlers.contains(reference) && std::ranges::count(handler.types, type))
            handler.call(&event);
    }
}

} // namespace quillora::platform
