#pragma once

#include <QtGlobal>

#include <optional>

namespace quillora::platform {

/// Whether the position, in the numbering of AppHotKey, is the key of a modifier, whatever the keyboard
/// layout makes of it. Such a key only prepares a hotkey and is never one itself.
constexpr bool isModifierPosition(quint32 keyCode) {
    constexpr quint32 rightCommand = 54;
    constexpr quint32 function = 63;
    return keyCode >= rightCommand && keyCode <= function;
}

/// Names the physical keys of this session's keyboards. Main thread only.
class KeyPositions {
public:
    virtual ~KeyPositions() = default;

    /// The position, in the numbering of AppHotKey, of the key that the toolkit reports with this native scan
    /// code; nothing if the numbering has no such key. The keyboard layout makes no difference.
    virtual std::optional<quint32> keyCode(quint32 nativeScanCode) const = 0;
};

} // namespace quillora::platform
