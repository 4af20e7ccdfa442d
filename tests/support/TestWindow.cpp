#include "support/TestWindow.h"

#include "support/ChildProcess.h"

#include <algorithm>

namespace quillora::test {

namespace {
constexpr unsigned lockModifiers =
    XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2; // Num Lock is the second in every layout
constexpr uint32_t withdrawnState = 0;
constexpr uint32_t iconicState = 3;
} // namespace

TestWindow::TestWindow(const QByteArray &displayName, const Properties &properties)
    : m_client(displayName), m_id(xcb_generate_id(m_client.xcb())) {
    create(properties);
}

void TestWindow::create(const Properties &properties) {
    auto *xcb = m_client.xcb();
    const uint32_t values[] = {properties.isOverrideRedirect,
                               XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE};
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, m_id, m_client.root(), 0, 0, 200, 200, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    if (!properties.windowClass.isEmpty())
        setClass(properties.windowClass);
    if (!properties.machine.isEmpty())
        setText(XCB_ATOM_WM_CLIENT_MACHINE, properties.machine);
    if (properties.processId)
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, m_id, m_client.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL,
                            32, 1, &*properties.processId);
    m_client.sync();
}

void TestWindow::setClass(const QByteArray &windowClass) {
    setText(XCB_ATOM_WM_CLASS, QByteArray("instance") + '\0' + windowClass + '\0');
    m_client.sync();
}

void TestWindow::setText(xcb_atom_t property, const QByteArray &value) {
    xcb_change_property(m_client.xcb(), XCB_PROP_MODE_REPLACE, m_id, property, XCB_ATOM_STRING, 8,
                        static_cast<uint32_t>(value.size()), value.constData());
}

void TestWindow::show() {
    xcb_map_window(m_client.xcb(), m_id);
    m_client.sync();
    ChildProcess::waitUntil([this] { return isViewable(); });
}

void TestWindow::takeFocus() {
    xcb_set_input_focus(m_client.xcb(), XCB_INPUT_FOCUS_PARENT, m_id, XCB_CURRENT_TIME);
    m_client.sync();
}

void TestWindow::activate() {
    constexpr uint32_t sourceIsTaskBar = 2;
    m_client.tellWindowManager(m_id, "_NET_ACTIVE_WINDOW", {sourceIsTaskBar, XCB_CURRENT_TIME});
}

void TestWindow::hide() {
    xcb_unmap_window(m_client.xcb(), m_id);
    xcb_unmap_notify_event_t notice{};
    notice.response_type = XCB_UNMAP_NOTIFY;
    notice.event = m_client.root();
    notice.window = m_id;
    xcb_send_event(m_client.xcb(), 0, m_client.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&notice));
    m_client.sync();
}

void TestWindow::minimise() { m_client.tellWindowManager(m_id, "WM_CHANGE_STATE", {iconicState}); }

void TestWindow::moveToDesktop(uint32_t number) {
    m_client.tellWindowManager(m_id, "_NET_WM_DESKTOP", {number, 2});
}

void TestWindow::close() {
    xcb_destroy_window(m_client.xcb(), m_id);
    m_client.sync();
}

void TestWindow::replaceBy(const Properties &properties) {
    close();
    // A window manager that still has the former window takes what it is told of the new one for news of
    // that.
    ChildProcess::waitUntil([this] {
        const auto managed = m_client.numbers(m_client.root(), "_NET_CLIENT_LIST");
        return std::ranges::count(managed, m_id) == 0;
    });
    create(properties);
    show();
}

bool TestWindow::isViewable() const {
    const auto attributes = XcbClient::owned(xcb_get_window_attributes_reply(
        m_client.xcb(), xcb_get_window_attributes(m_client.xcb(), m_id), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool TestWindow::hasFocus() const {
    const auto focus = XcbClient::owned(
        xcb_get_input_focus_reply(m_client.xcb(), xcb_get_input_focus(m_client.xcb()), nullptr));
    return focus && focus->focus == m_id;
}

bool TestWindow::isActive() const {
    return m_client.numbers(m_client.root(), "_NET_ACTIVE_WINDOW") == std::vector<uint32_t>{m_id};
}

bool TestWindow::isManaged() const {
    const auto state = m_client.numbers(m_id, "WM_STATE");
    return !state.empty() && state.front() != withdrawnState;
}

std::vector<TestWindow::Key> TestWindow::takeKeys() {
    m_client.sync();
    std::vector<Key> keys;
    while (const auto event = XcbClient::owned(xcb_poll_for_event(m_client.xcb()))) {
        const unsigned type = event->response_type & 0x7fu;
        if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
            continue;
        const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event.get());
        keys.push_back({key->detail, type == XCB_KEY_PRESS, key->state & 0xffu & ~lockModifiers});
    }
    return keys;
}

} // namespace quillora::test
