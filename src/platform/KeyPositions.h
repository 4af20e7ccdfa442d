#pragma once

#include <QtGlobal>

#include <optional>

namespace quillora::platform {

/// Tells which key was pressed, whatever the keyboard layout makes of it. Main thread only.
class KeyPositions {
public:
    virtual ~KeyPositions() = default;

    /// The key position, in the numbering of AppHotKey, of a key that the toolkit reports by its native scan
    /// code; nothing if the numbering has no such key.
    virtual std::optional<quint32> keyCode(quint32 nativeScanCode) const = 0;
};

} // namespace quillora::platform
