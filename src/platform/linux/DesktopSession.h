#pragma once

namespace quillora::platform {

class HotKeys;
class Keystrokes;
class OwnWindows;
class Pasteboard;
class Workspace;

/// What one kind of desktop gives to the programs that run on it. Main thread only, one at a time.
///
/// What others would miss once the program has ended, `leave` gives back before.
class DesktopSession {
public:
    virtual ~DesktopSession() = default;

    virtual HotKeys &hotKeys() = 0;
    virtual Keystrokes &keystrokes() = 0;
    virtual OwnWindows &ownWindows() = 0;
    virtual Pasteboard &pasteboard() = 0;
    virtual Workspace &workspace() = 0;

    /// Gives the desktop back what others wait for before the program ends, in this order: the keyboard, and
    /// the clipboard, to whoever keeps it for programs that end. Takes 3 s at most.
    virtual void leave() = 0;

    /// Who has left the program where nobody asked for its end, in words that stand alone.
    virtual const char *lossReason() = 0;
};

} // namespace quillora::platform
