#pragma once

#include "platform/linux/x11/X11SelectionContents.h"

#include <QDeadlineTimer>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace quillora::platform {

class X11SelectionServer;

/// Owns selections on a thread of its own.
///
/// Others, our own toolkit among them, must get their answers while the main thread is busy: a paste into one
/// of our own windows waits for the answer on the main thread. All operations are for the main thread; each
/// waits for the thread 500 ms at most and is then carried out late. What is asked while an earlier operation
/// is late is not waited for any longer than that, so that a server that hangs costs its time only once.
class X11SelectionOwner {
public:
    using Contents = std::shared_ptr<const X11SelectionContents>;

    /// A requestor that stops taking a large value for that long is given up.
    static constexpr std::chrono::milliseconds defaultPatience{10000};

    explicit X11SelectionOwner(const QByteArray &displayName,
                               std::chrono::milliseconds patience = defaultPatience);
    ~X11SelectionOwner();
    X11SelectionOwner(const X11SelectionOwner &) = delete;
    X11SelectionOwner &operator=(const X11SelectionOwner &) = delete;

    /// Takes the selection and offers these contents. False if the server did not let us.
    bool own(const QByteArray &selection, X11SelectionContents contents);

    /// Leaves nothing on the selection, whoever owns it: no owner, or, on the clipboard where a manager would
    /// fill it again, an owner that offers nothing.
    void clear(const QByteArray &selection);

    /// What we offer on the selection; null if it is not ours.
    Contents held(const QByteArray &selection);

    /// Asks the clipboard manager to keep what we offer on the clipboard. False if there is no manager, or
    /// nothing to keep, or it had not taken everything after `limit`.
    bool handOver(std::chrono::milliseconds limit);

private:
    using Work = std::function<void(X11SelectionServer &)>;

    template <typename Result>
    Result ask(std::function<Result(X11SelectionServer &)> question,
               std::chrono::milliseconds limit = std::chrono::milliseconds(500));
    void post(Work work);
    std::deque<Work> takePosted();
    void run(X11SelectionServer &server);
    void awaitInput(X11SelectionServer &server) const;

    std::atomic<int> m_unanswered = 0;
    QDeadlineTimer m_patience; ///< the main thread's, with everything that is unanswered
    std::mutex m_mutex;
    std::deque<Work> m_posted; ///< guarded by m_mutex
    bool m_isEnding = false;   ///< the thread's own
    int m_wakeDescriptor;
    std::thread m_thread;
};

} // namespace quillora::platform
