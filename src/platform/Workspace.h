#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

/// Another running program, as an opaque reference that stays valid after the program has ended.
class RunningApplication {
public:
    virtual ~RunningApplication() = default;

    /// What kind of program it is; nothing if the desktop does not tell.
    virtual std::optional<QString> bundleIdentifier() const = 0;

    /// Asks the desktop to bring it to the front. The outcome is not reported.
    virtual void activate() = 0;
};

using RunningApplicationHandle = std::shared_ptr<RunningApplication>;

/// Which programs run, and which is in front. Main thread only.
class Workspace {
public:
    /// Called with the application that came to the front, or with none where the desktop does not tell.
    using ActivationObserver = std::function<void(const RunningApplicationHandle &)>;
    /// Names a registration; 0 is never given out.
    using ObserverToken = quint64;

    virtual ~Workspace() = default;

    /// This program's own identifier, in the same terms as RunningApplication::bundleIdentifier.
    virtual std::optional<QString> mainBundleIdentifier() const = 0;

    /// The application in front, or none.
    virtual RunningApplicationHandle frontmostApplication() const = 0;

    /// The observer is called on the main thread at every activation, this program's own windows included.
    virtual ObserverToken addActivationObserver(ActivationObserver observer) = 0;
    virtual void removeActivationObserver(ObserverToken token) = 0;
};

} // namespace quillora::platform
