#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace quillora::platform {

/// What may befall the store of the user's settings.
enum class UserDefaultsFailure {
    unreadable, ///< it could not be read and is left as it is: nothing that is set outlives the run
    setAside,   ///< what it held could not be understood and is kept elsewhere: the settings begin anew
    unwritable  ///< what is set does not reach it
};

/// The user's settings, which outlive the run. Main thread only.
class UserDefaults {
public:
    using FailureObserver = std::function<void(UserDefaultsFailure)>;

    virtual ~UserDefaults() = default;

    /// Nothing if the key was never written.
    virtual std::optional<QString> string(const QString &key) const = 0;

    /// Takes effect at once for `string`; reaches the disk as a whole or not at all.
    virtual void setString(const QString &value, const QString &key) = 0;

    /// `observer` is told of each kind of failure once, from the event loop, and also of one that came before
    /// it. It takes the place of the one before; none ends the watch.
    virtual void setFailureObserver(FailureObserver observer) = 0;
};

} // namespace quillora::platform
