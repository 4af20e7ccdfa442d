#pragma once

#include <QString>

#include <optional>

namespace quillora::platform {

/// The ways in which X11 programs take a paste from the keyboard.
enum class X11PasteChord {
    controlV,
    controlShiftV, ///< terminals: Ctrl+V means something to what runs in them
    shiftInsert,   ///< pastes the primary selection, not the clipboard
};

/// What pastes into a window of this class.
X11PasteChord pasteChordFor(const std::optional<QString> &windowClass);

} // namespace quillora::platform
