#include "platform/linux/x11/X11StartupNotification.h"

#include "platform/linux/X11ToolkitConnection.h"
#include "platform/linux/x11/X11Connection.h"

#include <QByteArray>

#include <algorithm>

namespace quillora::platform {

namespace {

QByteArray quoted(QByteArray text) { return '"' + text.replace('\\', "\\\\").replace('"', "\\\"") + '"'; }

} // namespace

/// The message goes to the root window in pieces, the last of which has its final zero.
void endStartupNotification(const QByteArray &startupId) {
    if (startupId.isEmpty() || !toolkitConnection())
        return;
    X11Connection connection;
    const auto atoms =
        connection.atoms({"_NET_STARTUP_INFO_BEGIN", "_NET_STARTUP_INFO"}, connection.patience());
    if (!atoms)
        return;

    const QByteArray message = "remove: ID=" + quoted(startupId);
    xcb_client_message_event_t piece{};
    piece.response_type = XCB_CLIENT_MESSAGE;
    piece.format = 8;
    piece.window = connection.createWindow();
    piece.type = (*atoms)[0];
    constexpr qsizetype pieceSize = sizeof piece.data.data8;
    for (qsizetype sent = 0; sent <= message.size(); sent += pieceSize) {
        std::ranges::fill(piece.data.data8, 0);
        std::ranges::copy(message.mid(sent, pieceSize), piece.data.data8);
        xcb_send_event(connection.xcb(), 0, connection.root(), XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char *>(&piece));
        piece.type = (*atoms)[1];
    }
    connection.sync();
}

} // namespace quillora::platform
