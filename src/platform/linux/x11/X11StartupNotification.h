#pragma once

class QByteArray;

namespace quillora::platform {

/// Tells the desktop that the start which it knows by that identifier is over, where the desktop is X11. The
/// toolkit tells it with the first window; a program that shows none would leave the pointer busy for 20 s.
void endStartupNotification(const QByteArray &startupId);

} // namespace quillora::platform
