#include "platform/linux/x11/X11StartupNotification.h"

#include "platform/linux/x11/X11ToolkitConnection.h"

#include <QByteArray>

#include <algorithm>

namespace quillora::platform {

namespace {

QByteArray quoted(QByteArray text) { return '"' + text.replace('\\', "\\\\").replace('"', "\\\"") + '"'; }

} // namespace

/// The message goes to the root window in pieces, the last of which has its final zero.
void endStartupNotification(const QByteArray &startupId) {
    auto *connection = toolkitConnection();
    if (startupId.isEmpty() || !connection)
        return;
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t sender = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, sender, screen->root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);

    const QByteArray message = "remove: ID=" + quoted(startupId);
    xcb_client_message_event_t piece{};
    piece.response_type = XCB_CLIENT_MESSAGE;
    piece.format = 8;
    piece.window = sender;
    piece.type = atom(connection, "_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t following = atom(connection, "_NET_STARTUP_INFO");
    constexpr qsizetype pieceSize = sizeof piece.data.data8;
    for (qsizetype sent = 0; sent <= message.size(); sent += pieceSize) {
        std::ranges::fill(piece.data.data8, 0);
        std::ranges::copy(message.mid(sent, pieceSize), piece.data.data8);
        xcb_send_event(connection, 0, screen->root, XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char *>(&piece));
        piece.type = following;
    }
    xcb_destroy_window(connection, sender);
    xcb_flush(connection);
}

} // namespace quillora::platform
