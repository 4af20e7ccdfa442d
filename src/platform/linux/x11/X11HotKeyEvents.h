#pragma once

#include "platform/HotKeyEvents.h"
#include "platform/linux/x11/X11Connection.h"

#include <QTimer>

#include <chrono>
#include <map>

namespace quillora::platform {

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
class X11HotKeyEvents final : public QObject, public HotKeyEvents {
public:
    static constexpr std::chrono::milliseconds keyCheckInterval{50};
    /// How long after a refusal a combination that was had before is asked for again.
    static constexpr std::chrono::milliseconds grabRetryInterval{1000};

    /// `connection` must outlive this object.
    explicit X11HotKeyEvents(X11Connection &connection);
    ~X11HotKeyEvents() override;

    Status installEventHandler(EventHandler handler, const std::vector<EventTypeSpecification> &types,
                               std::optional<EventHandlerReference> &out) override;
    Status removeEventHandler(EventHandlerReference handler) override;
    Status registerEventHotKey(quint32 keyCode, quint32 modifiers, const HotKeyIdentifier &identifier,
                               quint32 options, std::optional<HotKeyReference> &out) override;
    Status unregisterEventHotKey(HotKeyReference hotKey) override;
    void suspend() override;
    void resume() override;

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
        HotKeyIdentifier identifier;
        xcb_keycode_t keycode;
        uint16_t modifiers;
        std::vector<uint16_t> grabbed; ///< the modifiers of each grab in force
        KeyState keyState;
    };

    struct Handler {
        EventHandler call;
        std::vector<EventTypeSpecification> types;
    };

    void watchKeymap();
    bool makeRepeatsDetectable();
    void handle(const xcb_generic_event_t *event);
    void handlePress(const xcb_key_press_event_t &event);
    void handleRelease(xcb_keycode_t keycode);
    void handleKeymapChange();
    void grabAgain();
    bool grab(HotKey &hotKey);
    void ungrab(HotKey &hotKey);
    bool grab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers);
    void ungrab(xcb_keycode_t keycode, const std::vector<uint16_t> &modifiers);
    void checkKeys();
    void watchKeys();
    KeyState stateOfHeldKey(xcb_keycode_t keycode) const;
    bool isTaken(xcb_keycode_t keycode, uint16_t modifiers) const;
    void deliver(quint32 kind, const HotKeyIdentifier &identifier);

    X11Connection &m_connection;
    std::map<EventHandlerReference, Handler> m_handlers;
    std::map<HotKeyReference, HotKey> m_hotKeys;
    std::optional<unsigned> m_keymapEvent; ///< the type of the events that tell of another keymap
    bool m_areRepeatsDetectable = false;   ///< else a held key looks like one that is tapped over and over
    bool m_hasInputExtension = false;
    quint64 m_lastReference = 0;
    bool m_isSuspended = false;
    bool m_isGrabbingAgainPending = false;
    QTimer m_keyCheck;  ///< runs while a hotkey's key is down
    QTimer m_grabRetry; ///< runs after a refusal
};

} // namespace quillora::platform
