#pragma once

#include "platform/Keystrokes.h"
#include "platform/linux/x11/X11Events.h"

#include <QObject>

#include <functional>
#include <utility>
#include <vector>

namespace quillora::platform {

class HotKeySuspension;
class X11HotKeys;
class X11Keymap;
class X11KeysDown;

/// Synthesises the paste chord by the server's XTEST extension: Ctrl+V by the key that means V in the layout
/// in force, or what the focused program knows for it.
///
/// Modifiers that the user holds are lifted in an order that opens no menu, and never pressed again: where
/// the keyboard is a device of its own, they would stay down for ever. Those that stick, for the next key or
/// until they are tapped again, are lifted likewise; lock keys stay as they are.
class X11Keystrokes final : public Keystrokes {
public:
    /// `preparePrimarySelection` puts the text into the primary selection, for programs that paste nothing
    /// else; it is called before the chord's condition is asked. Both references must outlive this object.
    X11Keystrokes(X11Events &events, X11HotKeys &hotKeys, std::function<void()> preparePrimarySelection = {});

    bool isTrusted() override;
    bool isTrustedWithPrompt() override { return isTrusted(); }
    void setTrustObserver(TrustObserver observer) override { m_trustObserver = std::move(observer); }
    void postPasteChord(const Condition &condition, Outcome outcome) override;

private:
    struct Chord {
        std::vector<xcb_map_index_t> modifiers;
        xcb_keycode_t key;
    };

    Chord preparedPasteChord(const X11Keymap &keymap) const;
    bool isHotKey(const Chord &chord) const;
    bool press(const Chord &chord, const X11Keymap &keymap, const Condition &condition);
    void replaceModifiersByControl(const X11Keymap &keymap, const X11KeysDown &keysDown);
    void unstickModifiers(const X11Keymap &keymap);
    void hold(xcb_keycode_t key);
    void letGo();
    void fake(uint8_t type, xcb_keycode_t key);

    X11Connection &m_connection;
    X11HotKeys &m_hotKeys;
    std::function<void()> m_preparePrimarySelection;
    TrustObserver m_trustObserver;
    std::vector<xcb_keycode_t> m_pressed; ///< in the order in which they went down
    QObject m_lossContext;
};

} // namespace quillora::platform
