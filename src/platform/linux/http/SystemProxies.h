#pragma once

#include "platform/MainQueue.h"
#include "platform/linux/http/TransportError.h"

#include <QByteArray>
#include <QList>
#include <QNetworkProxy>
#include <QObject>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <variant>

namespace quillora::platform {

/// Which proxies the desktop's settings and the environment want for an address. They are asked on threads of
/// their own, since an answer may take a script, a helper process or a bus, and may never come: the host that
/// the script is on need not answer. One thread only, which is the main one for its queue.
class SystemProxies {
public:
    /// The proxy to go through, or why there is none, not even the direct way.
    using Result = std::variant<QNetworkProxy, TransportError>;
    using Found = std::function<void(const Result &)>;

    /// Answers with the proxies for an address, best first, as in "http://host:port" or "direct://". Used by
    /// one thread, which makes it.
    using Ask = std::function<QList<QByteArray>(const QByteArray &address)>;
    using MakeAsk = std::function<Ask()>;

    /// How long an answer is worth waiting for. What is tried after it has a time of its own.
    static constexpr std::chrono::seconds longestLookup{10};

    /// How many threads may be stuck before the next question has to wait for one of them.
    static constexpr int mostThreads = 4;

    /// How long a proxy may take to accept a connection where there is another to try.
    static constexpr std::chrono::seconds longestKnock{3};

    /// `queue` outlives this object.
    explicit SystemProxies(MainQueue &queue, MakeAsk makeAsk = askSystem);

    /// Waits a moment for what is being asked, and then abandons it: its answer goes nowhere, and the end of
    /// the program does not wait for it.
    ~SystemProxies();

    /// Calls `found` from the event loop with the best proxy that can be reached, or with an error if no
    /// answer comes in time or none of the proxies is of a kind that can be used. The last one is not tried:
    /// nothing is left then. Who asks what is being asked already gets the same answer, unless that is late
    /// by now: the settings may have changed. Only scheme, host and port of the address are told to anybody.
    /// This machine itself is always reached directly: no proxy could.
    void find(const QUrl &url, Found found);

private:
    class Answers;
    struct Search;
    class Thread;
    class Trial;

    static Ask askSystem();

    void askForThoseWhoWait();
    std::shared_ptr<Thread> threadThatAsksFor(const QByteArray &address);
    std::shared_ptr<Thread> freeThread();
    void answer(const std::shared_ptr<Thread> &thread, const QList<QByteArray> &names);
    void giveUp(const Search &search);

    MainQueue &m_queue;
    const MakeAsk m_makeAsk;
    std::shared_ptr<Answers> m_answers;
    QList<std::shared_ptr<Search>> m_searches; ///< those without an answer, oldest first
    QList<std::shared_ptr<Thread>> m_threads;
    QObject m_trials; ///< the parent of those under way
};

} // namespace quillora::platform
