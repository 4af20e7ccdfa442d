#pragma once

#include <QtGlobal>

#include <memory>
#include <optional>

namespace quillora::platform {

/// Where a synthesised event takes its state from.
enum class KeyEventSourceState : qint32 { hidSystemState = 1 };

/// Where a synthesised event enters the system.
enum class KeyEventTap : quint32 { hid = 0 };

/// The Command key's flag of a synthesised key event.
inline constexpr quint64 commandKeyFlag = 0x100000;

class KeyEventSource {
public:
    virtual ~KeyEventSource() = default;
};

/// One key going down or up, with the modifiers that count as held for it.
struct KeyEvent {
    quint16 keyCode = 0; ///< a key position, in the numbering of AppHotKey
    bool isDown = false;
    quint64 flags = 0;

    bool operator==(const KeyEvent &) const = default;
};

/// Synthesises keystrokes, and knows whether this session lets us. Main thread only.
class Keystrokes {
public:
    virtual ~Keystrokes() = default;

    /// Whether this session lets this program synthesise keystrokes; never asks the user.
    virtual bool isTrusted() = 0;

    /// The same, but asks the user where it is not yet so. The answer is that of the moment.
    virtual bool isTrustedWithPrompt() = 0;

    /// None if it cannot be made.
    virtual std::unique_ptr<KeyEventSource> createSource(KeyEventSourceState state) = 0;

    /// Nothing if it cannot be made; `source` may be none. Its flags are none until they are set.
    virtual std::optional<KeyEvent> createKeyboardEvent(KeyEventSource *source, quint16 keyCode,
                                                        bool isDown) = 0;

    /// The event reaches whatever has the keyboard focus. Exactly its flags are held for it: a modifier that
    /// the user still holds is lifted first and not pressed again.
    virtual void post(KeyEventTap tap, const KeyEvent &event) = 0;
};

} // namespace quillora::platform
