#pragma once

#include "platform/Workspace.h"

#include <QString>

namespace quillora {

/// Puts a finished text into another application by way of the pasteboard, and gives the pasteboard back.
/// Stateless; main thread only.
class PasteboardInserter {
public:
    /// Whether keystrokes may be synthesised; never prompts.
    bool hasAccessibilityAccess() const;

    /// Asks the user for that leave unless it is given already.
    bool requestAccessibilityAccess() const;

    /// Leaves the text on the pasteboard for good.
    void copy(const QString &text) const;

    /// Brings the target to the front (none: the focus stays where it is), pastes the text into it 0.15 s
    /// later, and gives the pasteboard back 0.8 s after that; returns before either. False, and nothing is
    /// done, where keystrokes may not be synthesised.
    bool paste(const QString &text, const platform::RunningApplicationHandle &target) const;
};

} // namespace quillora
