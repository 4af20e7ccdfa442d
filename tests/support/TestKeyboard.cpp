#include "support/TestKeyboard.h"

#include "platform/linux/x11/X11Xkb.h"

#include <QByteArrayView>

#include <xcb/xtest.h>

namespace quillora::test {

TestKeyboard::~TestKeyboard() { releaseAll(); }

void TestKeyboard::press(xcb_keycode_t key) {
    m_held.insert(key);
    fake(XCB_KEY_PRESS, key);
}

void TestKeyboard::release(xcb_keycode_t key) {
    m_held.erase(key);
    fake(XCB_KEY_RELEASE, key);
}

void TestKeyboard::tap(xcb_keycode_t key) {
    press(key);
    release(key);
}

void TestKeyboard::tapWith(const std::vector<xcb_keycode_t> &held, xcb_keycode_t key) {
    for (const auto modifier : held)
        press(modifier);
    tap(key);
    for (const auto modifier : held)
        release(modifier);
}

void TestKeyboard::releaseAll() {
    while (!m_held.empty())
        release(*m_held.begin());
}

void TestKeyboard::lockGroup(uint8_t group) {
    auto *xcb = m_client.xcb();
    xcb_xkb_latch_lock_state(xcb, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, group, 0, 0, 0);
    m_client.sync();
}

void TestKeyboard::lockModifiers(uint8_t modifiers) {
    constexpr uint8_t all = 0xff;
    xcb_xkb_latch_lock_state(m_client.xcb(), XCB_XKB_ID_USE_CORE_KBD, all, modifiers, 0, 0, 0, 0, 0);
    m_client.sync();
}

void TestKeyboard::stickModifiers() { setStickyKeys(XCB_XKB_BOOL_CTRL_STICKY_KEYS); }

void TestKeyboard::unstickModifiers() {
    setStickyKeys(0);
    auto *xcb = m_client.xcb();
    constexpr uint8_t all = 0xff;
    xcb_xkb_latch_lock_state(xcb, XCB_XKB_ID_USE_CORE_KBD, all, 0, 0, 0, all, 0, 0);
    m_client.sync();
}

bool TestKeyboard::doModifiersStick() const {
    const auto controls = XcbClient::owned(xcb_xkb_get_controls_reply(
        m_client.xcb(), xcb_xkb_get_controls(m_client.xcb(), XCB_XKB_ID_USE_CORE_KBD), nullptr));
    return controls && (controls->enabledControls & XCB_XKB_BOOL_CTRL_STICKY_KEYS);
}

void TestKeyboard::setStickyKeys(uint32_t controls) {
    constexpr uint8_t eachKeyRepeats[32] = {};
    xcb_xkb_set_controls(m_client.xcb(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                         XCB_XKB_BOOL_CTRL_STICKY_KEYS, controls, XCB_XKB_CONTROL_CONTROLS_ENABLED, 0, 0, 0,
                         0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, eachKeyRepeats);
    m_client.sync();
}

std::vector<xcb_keycode_t> TestKeyboard::keysDown() const {
    const auto keys =
        XcbClient::owned(xcb_query_keymap_reply(m_client.xcb(), xcb_query_keymap(m_client.xcb()), nullptr));
    std::vector<xcb_keycode_t> down;
    for (unsigned key = 0; keys && key < 256; ++key) {
        if (keys->keys[key / 8] & (1 << (key % 8)))
            down.push_back(static_cast<xcb_keycode_t>(key));
    }
    return down;
}

unsigned TestKeyboard::modifiers() const {
    const auto pointer = XcbClient::owned(
        xcb_query_pointer_reply(m_client.xcb(), xcb_query_pointer(m_client.xcb(), m_client.root()), nullptr));
    return pointer ? pointer->mask & 0xffu : 0;
}

void TestKeyboard::fake(uint8_t type, xcb_keycode_t key) {
    auto *xcb = m_client.xcb();
    if (m_device) {
        // The events of devices follow those of the extension's first, in the order of the core ones.
        constexpr QByteArrayView inputExtension = "XInputExtension";
        const auto extension = XcbClient::owned(xcb_query_extension_reply(
            xcb, xcb_query_extension(xcb, inputExtension.size(), inputExtension.data()), nullptr));
        const unsigned deviceKeyPress = extension->first_event + 1u;
        xcb_test_fake_input(xcb, static_cast<uint8_t>(deviceKeyPress + type - XCB_KEY_PRESS), key,
                            XCB_CURRENT_TIME, m_client.root(), 0, 0, *m_device);
    } else {
        xcb_test_fake_input(xcb, type, key, XCB_CURRENT_TIME, m_client.root(), 0, 0, 0);
    }
    m_client.sync();
}

} // namespace quillora::test
