#pragma once

#include <functional>

namespace quillora::platform {

/// Notices a keychain that becomes usable during the run, and lets the user be asked for it. Main thread
/// only.
class KeychainAvailability {
public:
    using Observer = std::function<void()>;
    using Answered = std::function<void()>;

    virtual ~KeychainAvailability() = default;

    /// `observer` is called on the main thread whenever the keychain has appeared, was unlocked or answers
    /// again: what it could not do before may succeed now. It takes the place of the one before; none
    /// ends the watch.
    virtual void setObserver(Observer observer) = 0;

    /// Has the desktop ask the user, in a dialog that takes the focus, to unlock a keychain that is locked;
    /// returns at once. If he does, the observer is called. `answered` is called on the main thread when he
    /// has dealt with the dialog in one way or another, which leaves the focus anywhere. Nothing is asked
    /// where there is nothing to unlock or the keychain does not answer within a second. While the user is
    /// being asked already, `answered` takes the place of the one before.
    virtual void askToUnlock(Answered answered) = 0;
};

} // namespace quillora::platform
