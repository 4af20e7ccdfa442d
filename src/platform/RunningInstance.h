#pragma once

#include "platform/Start.h"

#include <functional>
#include <optional>

namespace quillora::platform {

/// Whom the session's instance calls, on the main thread, from the event loop.
struct RunningInstanceListener {
    /// Somebody started the program once more, or the desktop asks for it.
    std::function<void()> activated = [] {};

    /// The program is to end: the system says so, or a newer instance has taken over.
    std::function<void()> endRequested = [] {};

    // What another program asks for on behalf of a key that the desktop's own settings bind to it.
    std::function<void()> hotKeyPressed = [] {};
    std::function<void()> hotKeyReleased = [] {};
    std::function<void()> dictationToggled = [] {};
};

/// This run of the program among all programs of the session. Main thread only, one at a time.
///
/// It comes before the platform and is not part of it: only the one instance of a session makes a platform.
class RunningInstance {
public:
    enum class Claim {
        first,     ///< this is the session's instance from now on
        handedOver ///< another one runs, and has been asked to show itself if the user started this one
    };

    virtual ~RunningInstance() = default;

    /// Makes sure that one instance runs in a session. One that runs but does not answer is replaced: a hung
    /// program must not keep the user from starting a good one. Takes at most 7 s, and 30 s more while the
    /// other is still starting.
    virtual Claim claim(Start start) = 0;

    /// As long as there is a listener, the system's wish that the program end is told and not carried out.
    virtual void setListener(std::optional<RunningInstanceListener> listener) = 0;

    /// Tells the desktop that the start is over: that the program is there to be used, or will not come.
    virtual void endStart() = 0;
};

} // namespace quillora::platform
