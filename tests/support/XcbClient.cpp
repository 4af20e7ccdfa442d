#include "support/XcbClient.h"

#include "platform/linux/x11/X11Xkb.h"

#include <algorithm>
#include <stdexcept>

namespace quillora::test {

XcbClient::XcbClient(const QByteArray &displayName) : m_xcb(xcb_connect(displayName.constData(), nullptr)) {
    if (xcb_connection_has_error(m_xcb)) {
        xcb_disconnect(m_xcb);
        throw std::runtime_error("there is no display " + displayName.toStdString());
    }
    // Clients that do not know of layout groups get them as modifiers instead.
    owned(xcb_xkb_use_extension_reply(m_xcb, xcb_xkb_use_extension(m_xcb, 1, 0), nullptr));
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_xcb)).data->root;
}

XcbClient::~XcbClient() { xcb_disconnect(m_xcb); }

xcb_atom_t XcbClient::atom(const QByteArray &name) const {
    const auto cookie = xcb_intern_atom(m_xcb, 0, static_cast<uint16_t>(name.size()), name.constData());
    const auto reply = owned(xcb_intern_atom_reply(m_xcb, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_NONE};
}

std::vector<uint32_t> XcbClient::numbers(xcb_window_t window, const QByteArray &property) const {
    const auto cookie =
        xcb_get_property(m_xcb, 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096);
    const auto reply = owned(xcb_get_property_reply(m_xcb, cookie, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *values = static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

void XcbClient::sync() const { owned(xcb_get_input_focus_reply(m_xcb, xcb_get_input_focus(m_xcb), nullptr)); }

void XcbClient::tellWindowManager(xcb_window_t window, const QByteArray &message,
                                  const std::vector<uint32_t> &data) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(message);
    std::ranges::copy(data, event.data.data32);
    xcb_send_event(m_xcb, 0, m_root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&event));
    sync();
}

} // namespace quillora::test
