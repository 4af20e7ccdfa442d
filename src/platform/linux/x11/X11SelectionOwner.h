#pragma once

#include "platform/linux/Worker.h"
#include "platform/linux/x11/X11SelectionServer.h"

#include <QDeadlineTimer>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

/// Owns selections, and saves what others own, on a thread of its own.
///
/// Others, our own toolkit among them, must get their answers while the main thread is busy: a paste into one
/// of our own windows waits for the answer on the main thread. All operations are for the main thread; each
/// waits for the thread 500 ms at most and is then carried out late. What is asked while an earlier operation
/// is late is not waited for any longer than that, so that a server that hangs costs its time only once.
class X11SelectionOwner {
public:
    using Collection = X11SelectionServer::Collection;

    struct Patience {
        std::chrono::milliseconds withLists{100}; ///< of what owners have, which hold the main thread
        X11SelectionServer::Patience withOthers{};
        /// At the end, when nobody looks on: on a busy machine a clipboard manager takes its time.
        std::chrono::milliseconds withManagers = std::chrono::seconds(3);
    };

    explicit X11SelectionOwner(const QByteArray &displayName, Patience patience);
    explicit X11SelectionOwner(const QByteArray &displayName) : X11SelectionOwner(displayName, Patience()) {}

    /// Takes the selection and offers these contents. False if the server did not let us.
    bool own(const QByteArray &selection, X11SelectionContents contents);

    /// The same until `restore` or `giveBack`; meanwhile it is looked at what those give who take the
    /// selection over.
    bool lend(const QByteArray &selection, X11SelectionContents contents);

    /// Whether one that asks for a text now gets this one, as far as that is known. An owner that has just
    /// taken over what we lend is waited for, like one that says what it has.
    bool gives(const QByteArray &selection, const X11SelectionContents &text);

    /// What stands on the selection; what is still to come of it comes later. What our own toolkit holds is
    /// taken from its memory.
    Collection save(const QByteArray &selection);

    /// Takes the selection and offers what was saved of it, with what is still to come. Leaves nothing there
    /// where nothing comes.
    void restore(const QByteArray &selection, const Collection &saved);

    /// The same, unless another program has taken the selection meanwhile, which keeps it.
    void giveBack(const QByteArray &selection, const Collection &saved);

    /// What we offer on the selection; null if it is not ours.
    Collection held(const QByteArray &selection);

    /// Asks the clipboard manager to keep what we offer on the clipboard. False if there is no manager, or
    /// nothing to keep, or it had not taken everything when patience with it was over.
    bool handOver();

private:
    std::optional<X11SelectionContents> toolkitContents(const QByteArray &selection);

    template <typename Result>
    Result ask(std::function<Result()> question,
               std::chrono::milliseconds limit = std::chrono::milliseconds(500));
    void run(Worker &worker);
    void awaitInput(const Worker &worker) const;

    const std::chrono::milliseconds m_patienceWithLists;
    const std::chrono::milliseconds m_patienceWithManagers;
    std::atomic<int> m_unanswered = 0;
    QDeadlineTimer m_patience;   ///< the main thread's, with everything that is unanswered
    X11SelectionServer m_server; ///< the thread's own
    Worker m_worker;
};

} // namespace quillora::platform
