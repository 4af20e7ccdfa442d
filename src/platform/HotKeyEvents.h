#pragma once

#include <QtGlobal>

#include <functional>
#include <optional>
#include <vector>

namespace quillora::platform {

/// Four characters packed big-endian, as event classes and signatures are.
constexpr quint32 fourCharacterCode(const char (&text)[5]) {
    quint32 code = 0;
    for (int i = 0; i < 4; ++i)
        code = (code << 8) | static_cast<unsigned char>(text[i]);
    return code;
}

inline constexpr quint32 keyboardEventClass = fourCharacterCode("keyb");
inline constexpr quint32 hotKeyPressedKind = 5;
inline constexpr quint32 hotKeyReleasedKind = 6;

/// The bits of a hotkey's modifier mask that mean something; others are ignored.
inline constexpr quint32 controlModifier = 0x1000;
inline constexpr quint32 optionModifier = 0x0800;
inline constexpr quint32 shiftModifier = 0x0200;
inline constexpr quint32 commandModifier = 0x0100;

/// A hotkey has at least one of them: with Shift alone, or bare, a key would be lost to the whole desktop.
inline constexpr quint32 hotKeyModifiers = controlModifier | optionModifier | commandModifier;

struct EventTypeSpecification {
    quint32 eventClass = 0;
    quint32 eventKind = 0;

    bool operator==(const EventTypeSpecification &) const = default;
};

struct HotKeyIdentifier {
    quint32 signature = 0;
    quint32 number = 0;

    bool operator==(const HotKeyIdentifier &) const = default;
};

/// Something that happened to a registered hotkey.
struct HotKeyEvent {
    quint32 kind = 0;
    std::optional<HotKeyIdentifier> directObject; ///< absent where the event does not tell

    bool operator==(const HotKeyEvent &) const = default;
};

/// Names of what was installed or registered; 0 is never given out.
using EventHandlerReference = quint64;
using HotKeyReference = quint64;

/// System-wide hotkeys: at once when the combination goes down anywhere, once when its key goes up again.
/// Main thread only; handlers are called on it, from the event loop save where said otherwise.
class HotKeyEvents {
public:
    using Status = qint32;
    static constexpr Status noError = 0;

    /// Called with none where the system has lost the event.
    using EventHandler = std::function<Status(const HotKeyEvent *event)>;

    virtual ~HotKeyEvents() = default;

    /// `handler` will get the events of the given kinds. On failure `out` is left alone.
    virtual Status installEventHandler(EventHandler handler, const std::vector<EventTypeSpecification> &types,
                                       std::optional<EventHandlerReference> &out) = 0;
    virtual Status removeEventHandler(EventHandlerReference handler) = 0;

    /// Takes the combination for this program. Fails, and leaves `out` alone, if it cannot be had as a whole.
    /// `keyCode` and `modifiers` are in the numbering of AppHotKey. Modifiers without any of
    /// `hotKeyModifiers` and the keys of modifiers cannot be had. A key that is down already gives no events
    /// until it has gone up: what was pressed to choose a hotkey does not use it.
    virtual Status registerEventHotKey(quint32 keyCode, quint32 modifiers, const HotKeyIdentifier &identifier,
                                       quint32 options, std::optional<HotKeyReference> &out) = 0;

    /// Gives the combination back. If its press has been delivered and its release has not, the release is
    /// delivered first, from within this call.
    virtual Status unregisterEventHotKey(HotKeyReference hotKey) = 0;

    /// Lets the registered combinations reach the focused window like any other key, so that a new hotkey can
    /// be chosen by pressing it. They stay registered but give no events, save the release of a key that is
    /// down. Combinations can be registered and unregistered meanwhile.
    virtual void suspend() = 0;

    /// Ends the suspension. A key that is still down gives no events until it has gone up.
    virtual void resume() = 0;
};

} // namespace quillora::platform
