#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace quillora::platform {

/// The bits of a hotkey's modifier mask that mean something; others are ignored.
inline constexpr quint32 controlModifier = 0x1000;
inline constexpr quint32 optionModifier = 0x0800;
inline constexpr quint32 shiftModifier = 0x0200;
inline constexpr quint32 commandModifier = 0x0100;

/// A hotkey has at least one of them: with Shift alone, or bare, a key would be lost to the whole desktop.
inline constexpr quint32 hotKeyModifiers = controlModifier | optionModifier | commandModifier;

/// A key position and the modifiers held with it, in the numbering of AppHotKey.
struct KeyCombination {
    quint32 keyCode = 0;
    quint32 modifiers = 0;

    bool operator==(const KeyCombination &) const = default;
};

/// What became of a combination after it was taken.
struct HotKeyOutcome {
    enum class Kind {
        refused,        ///< whoever decides has decided against it after all; it never worked
        lost,           ///< it worked, and is somebody else's now
        boundElsewhere, ///< another combination works in its place
        hadAgain        ///< it works, after any of the others
    };

    Kind kind = Kind::lost;
    /// With `boundElsewhere`: what the desktop calls that other combination.
    QString desktopWords = {}; // NOLINT(readability-redundant-member-init): so that it may be left out

    bool operator==(const HotKeyOutcome &) const = default;
};

/// Whom a taken combination calls, on the main thread, from the event loop save where said otherwise. Each
/// may give the combination back.
struct HotKeyListener {
    std::function<void()> pressed = [] {};
    std::function<void()> released = [] {};
    std::function<void(const HotKeyOutcome &)> outcome = [](const HotKeyOutcome &) {};
};

/// A combination that is this program's; it is given back with this object, which must not outlive the
/// HotKeys that it comes from. If its press has been told and its release has not, the release is told from
/// within the destruction; nothing is told after that.
class TakenHotKey {
public:
    virtual ~TakenHotKey() = default;
};

/// While one of them is alive, combinations reach the focused window like any other key and give no events,
/// save the release of a key that is down. It must not outlive the HotKeys that it comes from.
class HotKeySuspension {
public:
    virtual ~HotKeySuspension() = default;
};

/// System-wide hotkeys: told at once when the combination goes down anywhere, and once when its key goes up
/// again. Main thread only.
class HotKeys {
public:
    virtual ~HotKeys() = default;

    /// Takes the combination for this program, also during a suspension; none if it cannot be had as a whole,
    /// and then nothing of it is kept from others. Modifiers without any of `hotKeyModifiers` and the keys of
    /// modifiers cannot be had. A key that is down already gives no events until it has gone up: what was
    /// pressed to choose a hotkey does not use it. Whether it stays so comes as an outcome.
    virtual std::unique_ptr<TakenHotKey> take(const KeyCombination &combination, HotKeyListener listener) = 0;

    /// So that a new hotkey can be chosen by pressing it. When the last suspension has ended, a key that is
    /// still down gives no events until it has gone up.
    [[nodiscard]] virtual std::unique_ptr<HotKeySuspension> suspend() = 0;
};

} // namespace quillora::platform
