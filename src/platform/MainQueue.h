#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace quillora::platform {

/// One scheduled call; cancelling after it ran, or twice, does nothing.
class WorkItem {
public:
    virtual ~WorkItem() = default;

    /// Main thread only. The call will not be made, and what it captured is let go.
    virtual void cancel() = 0;
};

/// The event loop of the main thread, as the place where work is handed to.
///
/// When the queue is destroyed it runs what was handed over until then, and whatever that hands over, so that
/// nothing that waits is forgotten; delayed calls are let go.
class MainQueue {
public:
    virtual ~MainQueue() = default;

    /// Runs `work` on the main thread in a later turn of the event loop, in the order of the calls. Any
    /// thread.
    virtual void async(std::function<void()> work) = 0;

    /// Runs `work` on the main thread once `delay` has passed, to the millisecond. Main thread only. The item
    /// may be dropped: that does not cancel the call.
    virtual std::shared_ptr<WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                 std::function<void()> work) = 0;
};

} // namespace quillora::platform
