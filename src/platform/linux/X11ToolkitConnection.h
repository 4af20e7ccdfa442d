#pragma once

#include <xcb/xcb.h>

namespace quillora::platform {

/// The toolkit's own connection to the X server; none where the desktop is not X11.
xcb_connection_t *toolkitConnection();

} // namespace quillora::platform
