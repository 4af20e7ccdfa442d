#pragma once

#include "platform/Workspace.h"

#include <QString>

#include <functional>
#include <memory>

namespace quillora {

/// Puts a finished text into another application by way of the pasteboard, and gives the pasteboard back.
/// Main thread only.
class PasteboardInserter {
public:
    /// Whether keystrokes may be synthesised; never prompts.
    bool hasAccessibilityAccess() const;

    /// Asks the user for that leave unless it is given already.
    bool requestAccessibilityAccess() const;

    /// Leaves the text on the pasteboard for good; false where the desktop does not take it.
    bool copy(const QString &text) const;

    /// Brings the target to the front (none: the focus stays where it is), pastes the text into it 0.15 s
    /// later, and gives the pasteboard back 0.8 s after that; returns before either. False, and nothing is
    /// done, where keystrokes may not be synthesised.
    ///
    /// Where the pasteboard does not give the text by then, right up to the keys, because some program has
    /// put something else there, nothing is pasted: it might be a password. `onTaken` is called instead.
    bool paste(const QString &text, const platform::RunningApplicationHandle &target,
               std::function<void()> onTaken = {}) const;

    /// Whether some paste has still to give the pasteboard back.
    bool hasPendingRestore() const { return m_restores->pending > 0; }

    /// `onRestored` is called whenever a paste has given the pasteboard back, be it after the end of this. It
    /// takes the place of the one before.
    void setRestoreObserver(std::function<void()> onRestored) {
        m_restores->observer = std::move(onRestored);
    }

private:
    struct Restores {
        int pending = 0;
        std::function<void()> observer;
    };

    /// Shared with every restore that is still to come.
    std::shared_ptr<Restores> m_restores = std::make_shared<Restores>();
};

} // namespace quillora
