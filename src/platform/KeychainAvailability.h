#pragma once

#include <functional>

namespace quillora::platform {

/// Notices a keychain that becomes usable during the run, and counts what it failed to do before. Main thread
/// only.
class KeychainAvailability {
public:
    using Observer = std::function<void()>;

    virtual ~KeychainAvailability() = default;

    /// `observer` is called on the main thread whenever the keychain has appeared, was unlocked or answers
    /// again: what could not be read before may be readable now. It takes the place of the one before; none
    /// ends the watch.
    virtual void setObserver(Observer observer) = 0;

    /// How many changes the keychain has failed to make so far. What it has not made can be asked for again
    /// when the observer is called.
    virtual int failedChangeCount() const = 0;
};

} // namespace quillora::platform
