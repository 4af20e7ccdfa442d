#pragma once

#include "platform/linux/DesktopSession.h"

#include <functional>
#include <memory>

namespace quillora::platform {

/// Opens the session that this program was started in. What it offers decides, never the desktop's name: a
/// Wayland compositor that answers comes before an X server, which is then only there for the programs that
/// know no better and sees neither the keys nor the windows of the others.
///
/// `lost` is called from the event loop when the desktop has gone, where the session notices.
std::unique_ptr<DesktopSession> openDesktopSession(const std::function<void()> &lost);

} // namespace quillora::platform
