#pragma once

#include "platform/Keystrokes.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11StickyKeys.h"

#include <functional>
#include <vector>

namespace quillora::platform {

class HotKeySuspension;
class X11HotKeys;
class X11Keymap;
class X11KeysDown;

/// Synthesises keystrokes by the server's XTEST extension.
///
/// Command+V stands for the desktop's paste chord: Ctrl+V by the key that means V in the layout in force, or
/// what the focused program knows for it. Any other event is the key at that position, with Command as Super
/// and Option as Alt. Modifiers that the user holds are lifted in an order that opens no menu, and never
/// pressed again: where the keyboard is a device of its own, they would stay down for ever. Those that stick,
/// for the next key or until they are tapped again, are lifted likewise; lock keys stay as they are.
class X11Keystrokes final : public Keystrokes {
public:
    /// `preparePrimarySelection` puts the text into the primary selection, for programs that paste nothing
    /// else; it is called right before the chord. Both references must outlive this object.
    X11Keystrokes(X11Connection &connection, X11HotKeys &hotKeys,
                  std::function<void()> preparePrimarySelection = {});

    /// Lets go of whatever is still pressed.
    ~X11Keystrokes() override;

    bool isTrusted() override;
    bool isTrustedWithPrompt() override { return isTrusted(); }
    std::unique_ptr<KeyEventSource> createSource(KeyEventSourceState state) override;
    std::optional<KeyEvent> createKeyboardEvent(KeyEventSource *source, quint16 keyCode,
                                                bool isDown) override;
    void post(KeyEventTap tap, const KeyEvent &event) override;

private:
    struct Chord {
        std::vector<xcb_map_index_t> modifiers;
        xcb_keycode_t key;
    };

    std::optional<Chord> chordFor(const KeyEvent &event, const X11Keymap &keymap) const;
    Chord preparedPasteChord(const X11Keymap &keymap) const;
    void letThrough(const Chord &chord);
    void press(const Chord &chord, const X11Keymap &keymap);
    void replaceModifiersByControl(const X11Keymap &keymap, const X11KeysDown &keysDown);
    void unstickModifiers(const X11Keymap &keymap);
    void hold(xcb_keycode_t key);
    void letGo();
    void end();
    void fake(uint8_t type, xcb_keycode_t key);

    X11Connection &m_connection;
    X11HotKeys &m_hotKeys;
    std::function<void()> m_preparePrimarySelection;
    std::vector<xcb_keycode_t> m_pressed;                 ///< in the order in which they went down
    std::optional<X11StickyKeys> m_stickyKeys;            ///< kept as they are while keys are pressed
    std::unique_ptr<HotKeySuspension> m_hotKeySuspension; ///< while a hotkey would swallow the chord
};

} // namespace quillora::platform
