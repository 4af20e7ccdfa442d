#pragma once

#include <functional>

namespace quillora::platform {

/// Synthesises the desktop's paste chord, and knows whether this session lets us. Main thread only.
class Keystrokes {
public:
    using Condition = std::function<bool()>;
    using Outcome = std::function<void(bool isPosted)>;
    using TrustObserver = std::function<void()>;

    virtual ~Keystrokes() = default;

    /// Whether this session lets this program synthesise keystrokes; never asks the user.
    virtual bool isTrusted() = 0;

    /// The same, but asks the user where it is not yet so. The answer is that of the moment.
    virtual bool isTrustedWithPrompt() = 0;

    /// `observer` is called from the event loop whenever trust has been given or withdrawn. It takes the
    /// place of the one before; none ends the watch.
    virtual void setTrustObserver(TrustObserver observer) = 0;

    /// Presses, and lets go of, the keys that paste in whatever has the keyboard focus: what Command-V is
    /// elsewhere. Exactly these count as held: a modifier that the user holds is lifted first and not pressed
    /// again. `condition` is asked right before that, once all else has been waited for; unless it holds, no
    /// key is touched. `outcome` is called once, within the call or within a second.
    virtual void postPasteChord(const Condition &condition, Outcome outcome) = 0;
};

} // namespace quillora::platform
