#pragma once

#include "platform/linux/HandOver.h"

#include <functional>
#include <memory>
#include <thread>

namespace quillora::platform {

/// A thread that does what others post, in that order, beside what it waits for by itself.
///
/// The thread polls `descriptor` with its own ones and calls `doPosted` whenever that is readable. Its owner
/// declares it behind all that the thread uses, so that the thread is the first to go.
class Worker {
public:
    using Work = std::function<void()>;

    /// `life` is what the thread does, from its begin until `doPosted` says that it ends. A thread whose life
    /// ended before refuses what is posted. `name` has 15 characters at most. Throws std::system_error if
    /// there can be no more threads.
    Worker(const char *name, std::function<void(Worker &)> life);

    /// Returns once all that was posted is done and the thread has ended.
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    /// False if it will not be done. Any thread.
    bool post(Work work) { return m_posted.add(std::move(work)); }

    /// For those who have something for the thread that is not posted. It outlives the worker.
    const std::shared_ptr<WakeUp> &wakeUp() const { return m_wakeUp; }

    // Of the thread.

    int descriptor() const { return m_wakeUp->descriptor(); }

    /// False once the thread is to end, which comes after everything that was posted.
    bool doPosted();

    /// The life of a thread that waits for nothing else: does what is posted, and sleeps in between.
    void serve();

    /// Whether `doPosted` is called for. Long work that can wait looks at it now and then.
    bool isCalled() const { return m_posted.hasNews(); }

    /// Whether it has to end. Long work that cannot wait looks at this.
    bool isEnding() const { return !m_posted.isOpen(); }

private:
    const std::shared_ptr<WakeUp> m_wakeUp = std::make_shared<WakeUp>();
    HandOver<Work> m_posted{m_wakeUp};
    std::thread m_thread;
};

} // namespace quillora::platform
