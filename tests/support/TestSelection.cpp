#include "support/TestSelection.h"

namespace quillora::test {

TestSelection::TestSelection(const QByteArray &displayName, const QByteArray &selection)
    : m_connection(displayName), m_selection(m_connection.atom(selection)),
      m_window(xcb_generate_id(m_connection.xcb())) {
    xcb_create_window(m_connection.xcb(), 0, m_window, m_connection.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    connect(&m_events, &platform::X11Events::received, this, &TestSelection::handle);
}

void TestSelection::setText(const QByteArray &text) {
    m_text = text;
    m_readCount = 0;
    xcb_set_selection_owner(m_connection.xcb(), m_window, m_selection,
                            m_connection.serverTime().value_or(XCB_CURRENT_TIME));
    m_connection.flush();
}

void TestSelection::handle(const xcb_generic_event_t *event) {
    if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST)
        return;
    const auto &request = *reinterpret_cast<const xcb_selection_request_event_t *>(event);
    const xcb_atom_t property = request.property != XCB_NONE ? request.property : request.target;
    xcb_selection_notify_event_t answer{};
    answer.response_type = XCB_SELECTION_NOTIFY;
    answer.time = request.time;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    answer.property = give(request, property) ? property : xcb_atom_t{XCB_NONE};
    xcb_send_event(m_connection.xcb(), 0, request.requestor, 0, reinterpret_cast<const char *>(&answer));
    m_connection.flush();
}

bool TestSelection::give(const xcb_selection_request_event_t &request, xcb_atom_t property) {
    auto *xcb = m_connection.xcb();
    const xcb_atom_t utf8 = m_connection.atom("UTF8_STRING");
    if (request.target == m_connection.atom("TARGETS")) {
        const xcb_atom_t targets[] = {request.target, utf8};
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, property, XCB_ATOM_ATOM, 32, 2,
                            targets);
        return true;
    }
    if (request.target != utf8)
        return false;
    ++m_readCount;
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, property, utf8, 8,
                        static_cast<uint32_t>(m_text.size()), m_text.constData());
    return true;
}

} // namespace quillora::test
