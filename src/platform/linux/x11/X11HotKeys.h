#pragma once

#include "platform/HotKeys.h"
#include "platform/linux/x11/X11Events.h"

#include <QTimer>

#include <chrono>
#include <map>

namespace quillora::platform {

class X11Keymap;

/// System-wide hotkeys by passive grabs of a key position, whatever Caps Lock, Num Lock and Scroll Lock say.
///
/// Control is Ctrl, Option Alt, Command Super. A press ends when its own key goes up; modifiers may go up
/// before it. Should the grab be lost while the key is down, the release is still noticed, within
/// `keyCheckInterval`.
///
/// While the key is down the server gives the whole keyboard to this program. Letting go of it earlier would
/// let the repeats of the key through to the focused window, where they type as soon as the modifiers are up.
///
/// The server keeps core grabs and those of the input extension apart: each kind takes presses from the other
/// without a word. So a combination is taken in both kinds, and is had only if nobody else has it in either.
///
/// Grabs are made anew after a change of the keymap and after a suspension. What another program has taken by
/// then is lost, and asked for again at the next occasion of the same kind.
class X11HotKeys final : public QObject, public HotKeys {
public:
    static constexpr std::chrono::milliseconds keyCheckInterval{50};

    /// Between two attempts to grab again what a server that hangs was asked for.
    static constexpr std::chrono::milliseconds silenceCheckInterval{500};

    /// `events` must outlive this object.
    explicit X11HotKeys(X11Events &events);

    std::unique_ptr<TakenHotKey> take(const KeyCombination &combination, HotKeyListener listener) override;
    std::unique_ptr<HotKeySuspension> suspend() override;

    /// Whether the combination, if it were pressed now, would come here and not to the focused window.
    bool isGrabbed(xcb_keycode_t keycode, uint16_t modifiers) const;

    /// Lets other programs have the keyboard while a hotkey is down; its release is still delivered.
    void releaseActiveGrab();

private:
    enum class KeyState {
        up,
        down,     ///< its press has been delivered
        heldOver, ///< down since before it could be a press
    };

    struct HotKey {
        HotKeyListener listener;
        xcb_keycode_t keycode;
        uint16_t modifiers;
        std::vector<uint16_t> grabbed; ///< the modifiers of each grab in force
        KeyState keyState;
        bool isLost = false; ///< as the listener knows it
    };

    class Taken;
    class Suspension;

    void watchKeymap();
    bool makeRepeatsDetectable();
    void handle(const xcb_generic_event_t *event);
    void handlePress(const xcb_key_press_event_t &event);
    void handleRelease(xcb_keycode_t keycode);
    void handleKeymapChange();
    void grabAgain();
    void grabAgainLater();
    void giveBack(quint64 number);
    void startSuspension();
    void endSuspension();
    bool grab(HotKey &hotKey, const X11Keymap &keymap);
    void ungrab(HotKey &hotKey);
    bool grab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers);
    void ungrab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers);
    void checkKeys();
    void watchKeys();
    KeyState stateOfHeldKey(xcb_keycode_t keycode) const;
    bool isTaken(xcb_keycode_t keycode, uint16_t modifiers) const;
    void tellLater(quint64 number, HotKeyOutcome::Kind outcome);

    X11Connection &m_connection;
    std::map<quint64, HotKey> m_hotKeys;   ///< by the number that each was given
    std::optional<unsigned> m_keymapEvent; ///< the type of the events that tell of another keymap
    bool m_areRepeatsDetectable = false;   ///< else a held key looks like one that is tapped over and over
    bool m_hasInputExtension = false;
    quint64 m_lastNumber = 0;
    int m_suspensions = 0;
    bool m_isGrabbingAgainPending = false;
    QTimer m_keyCheck; ///< runs while a hotkey's key is down
};

} // namespace quillora::platform
