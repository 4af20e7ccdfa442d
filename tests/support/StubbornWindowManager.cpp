#include "support/StubbornWindowManager.h"

namespace quillora::test {

StubbornWindowManager::StubbornWindowManager(const QByteArray &displayName) : m_client(displayName) {
    const xcb_window_t check = xcb_generate_id(m_client.xcb());
    xcb_create_window(m_client.xcb(), XCB_COPY_FROM_PARENT, check, m_client.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    set(m_client.root(), "_NET_SUPPORTED", XCB_ATOM_ATOM, m_client.atom("_NET_ACTIVE_WINDOW"));
    set(check, "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW, check);
    set(m_client.root(), "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW, check);
    m_client.sync();
}

void StubbornWindowManager::activate(xcb_window_t window) {
    xcb_set_input_focus(m_client.xcb(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    set(m_client.root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, window);
    m_client.sync();
}

void StubbornWindowManager::set(xcb_window_t window, const QByteArray &property, xcb_atom_t type,
                                uint32_t value) {
    xcb_change_property(m_client.xcb(), XCB_PROP_MODE_REPLACE, window, m_client.atom(property), type, 32, 1,
                        &value);
}

} // namespace quillora::test
