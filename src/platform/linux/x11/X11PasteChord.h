#pragma once

#include <QString>

#include <optional>

namespace quillora::platform {

/// The ways in which X11 programs take a paste from the keyboard.
enum class X11PasteChord {
    controlV,
    controlShiftV,      ///< where Ctrl+V means something to what runs in the program
    shiftInsert,        ///< where the program has no other way to the clipboard
    shiftInsertPrimary, ///< the same keys, but they paste the primary selection
};

/// What pastes into a window of this class.
X11PasteChord pasteChordFor(const std::optional<QString> &windowClass);

} // namespace quillora::platform
