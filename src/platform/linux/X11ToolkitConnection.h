#pragma once

#include <QByteArray>

#include <xcb/xcb.h>

namespace quillora::platform {

/// The toolkit's own connection to the X server; none where the desktop is not X11.
xcb_connection_t *toolkitConnection();

/// Where its windows are, all of them: a desktop has one, however many monitors.
const xcb_screen_t *toolkitScreen();

/// Asks the server over that connection; none where it does not say.
xcb_atom_t atomOf(const QByteArray &name);

} // namespace quillora::platform
