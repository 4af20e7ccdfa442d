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

    using Outcome = std::function<void(bool isInFront)>;

    /// Asks the desktop to bring it to the front. `outcome`, which may be none, is called once: as soon as it
    /// is there, or within a second if it is not.
    virtual void activate(Outcome outcome) = 0;
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

    /// For desktops that neither tell what is in front nor bring anything there: has our own windows give the
    /// keyboard up, so that the program gets it that had it before. Does nothing elsewhere.
    virtual void yieldFocus() = 0;

    /// The observer is called on the main thread at every activation, this program's own windows included.
    virtual ObserverToken addActivationObserver(ActivationObserver observer) = 0;
    virtual void removeActivationObserver(ObserverToken token) = 0;
};

} // namespace quillora::platform
