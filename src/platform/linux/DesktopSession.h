#pragma once

namespace quillora::platform {

class HotKeys;
class Keystrokes;
class OwnWindows;
class Pasteboard;
class Workspace;

/// What one kind of desktop gives to the programs that run on it. Main thread only, one at a time.
///
/// A session is also what decides how the program ends when its desktop goes away. Its own end hands the
/// clipboard over to whoever keeps it for programs that end.
class DesktopSession {
public:
    virtual ~DesktopSession() = default;

    virtual HotKeys &hotKeys() = 0;
    virtual Keystrokes &keystrokes() = 0;
    virtual OwnWindows &ownWindows() = 0;
    virtual Pasteboard &pasteboard() = 0;
    virtual Workspace &workspace() = 0;
};

} // namespace quillora::platform
