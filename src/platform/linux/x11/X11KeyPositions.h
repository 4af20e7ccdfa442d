#pragma once

#include "platform/KeyPositions.h"

namespace quillora::platform {

/// Key positions as X servers on Linux number them: a keycode is the kernel's code of the key plus 8.
class X11KeyPositions final : public KeyPositions {
public:
    /// The toolkit's native scan codes are the server's keycodes.
    std::optional<quint32> keyCode(quint32 nativeScanCode) const override;

    /// The server's keycode of a key position; nothing if no keyboard here has such a key.
    static std::optional<quint8> keycodeAt(quint32 keyCode);
};

} // namespace quillora::platform
