#pragma once

#include <QtGlobal>

#include <optional>

namespace quillora::platform {

/// Names the physical keys of this session's keyboards. Main thread only.
class KeyPositions {
public:
    virtual ~KeyPositions() = default;

    /// The position, in the numbering of AppHotKey, of the key that the toolkit reports with this native scan
    /// code; nothing if the numbering has no such key. The keyboard layout makes no difference.
    virtual std::optional<quint32> keyCode(quint32 nativeScanCode) const = 0;
};

} // namespace quillora::platform
