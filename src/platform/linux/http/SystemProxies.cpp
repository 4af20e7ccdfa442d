#include "platform/linux/http/SystemProxies.h"

#include "platform/linux/HandOver.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpSocket>

#include <future>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <proxy.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds moment{100};

bool isThisMachine(const QUrl &url) {
    return url.host() == u"localhost" || QHostAddress(url.host()).isLoopback();
}

/// What a proxy script, which comes from the network, may know of where the user's words go.
QByteArray address(const QUrl &url) {
    QUrl origin;
    origin.setScheme(url.scheme());
    origin.setHost(url.host());
    origin.setPort(url.port());
    origin.setPath(u"/"_s);
    return origin.toEncoded();
}

std::optional<QNetworkProxy::ProxyType> proxyType(const QString &scheme) {
    if (scheme == u"direct")
        return QNetworkProxy::NoProxy;
    if (scheme == u"http")
        return QNetworkProxy::HttpProxy;
    if (scheme == u"socks" || scheme == u"socks5")
        return QNetworkProxy::Socks5Proxy;
    return {};
}

QList<QNetworkProxy> usableProxies(const QList<QByteArray> &names) {
    QList<QNetworkProxy> proxies;
    for (const QByteArray &name : names) {
        const auto url = QUrl::fromEncoded(name);
        const auto type = proxyType(url.scheme());
        if (type && (type == QNetworkProxy::NoProxy || !url.host().isEmpty()))
            proxies += QNetworkProxy(*type, url.host(), static_cast<quint16>(url.port(0)),
                                     url.userName(QUrl::FullyDecoded), url.password(QUrl::FullyDecoded));
    }
    return proxies;
}

} // namespace

/// Where a lookup leaves its answer, for as long as there is somebody to take it. Any thread.
class SystemProxies::Answers {
public:
    explicit Answers(MainQueue &queue) : m_queue(&queue) {}

    void post(std::function<void()> answer) {
        const std::lock_guard lock(m_mutex);
        if (m_queue)
            m_queue->async(std::move(answer));
    }

    void refuse() {
        const std::lock_guard lock(m_mutex);
        m_queue = nullptr;
    }

private:
    std::mutex m_mutex;
    MainQueue *m_queue;
};

/// A thread that asks for one address at a time. It may get stuck in that, so nobody ever joins it.
class SystemProxies::Thread : public std::enable_shared_from_this<Thread> {
public:
    using Answered = std::function<void(const QList<QByteArray> &)>;

    // For the main thread only.
    QByteArray address;     ///< what it asks for; null while it is free
    bool isOverdue = false; ///< somebody who waited for that has given up

    /// Throws std::system_error, as the construction may, if there can be no more threads.
    void start(const MakeAsk &makeAsk) {
        std::thread([self = shared_from_this(), makeAsk] { self->run(makeAsk); }).detach();
    }

    /// Only while it is free. It is again when `answered` is called, on this thread.
    void ask(Answered answered) { m_tasks.add({address, std::move(answered)}); }

    /// It ends, once it is free at the latest.
    void dismiss() { m_tasks.end(); }

    void awaitEnd(Clock::time_point latest) const { m_hasEnded.wait_until(latest); }

private:
    struct Task {
        QByteArray address;
        Answered answered;
    };

    void run(const MakeAsk &makeAsk) {
        {
            const Ask ask = makeAsk();
            while (m_tasks.isOpen()) {
                m_wakeUp->await();
                for (const auto &task : m_tasks.take().items)
                    task.answered(ask(task.address));
            }
        }
        m_end.set_value();
    }

    const std::shared_ptr<WakeUp> m_wakeUp = std::make_shared<WakeUp>();
    HandOver<Task> m_tasks{m_wakeUp};
    std::promise<void> m_end;
    const std::future<void> m_hasEnded = m_end.get_future();
};

/// Somebody who waits for an answer.
struct SystemProxies::Search {
    QUrl url;
    Found found;
    std::shared_ptr<WorkItem> deadline;
    std::shared_ptr<Thread> thread; ///< which asks for it; none while there is none to be had
};

/// Looks for the first proxy that accepts connections; then it deletes itself. Nothing is sent to any.
class SystemProxies::Trial : public QObject {
public:
    Trial(QList<QNetworkProxy> proxies, MainQueue &queue, Found found, QObject *parent)
        : QObject(parent), m_proxies(std::move(proxies)), m_queue(queue), m_found(std::move(found)) {
        tryFirst();
    }
    ~Trial() override { leave(); }

private:
    void tryFirst() {
        if (m_proxies.size() == 1 || m_proxies.first().type() == QNetworkProxy::NoProxy)
            return choose();
        m_socket = std::make_unique<QTcpSocket>();
        m_socket->setProxy(QNetworkProxy::NoProxy);
        connect(m_socket.get(), &QTcpSocket::connected, this, &Trial::choose);
        connect(m_socket.get(), &QTcpSocket::errorOccurred, this, &Trial::passOver);
        m_deadline = m_queue.asyncAfter(longestKnock, [this] { passOver(); });
        m_socket->connectToHost(m_proxies.first().hostName(), m_proxies.first().port());
    }

    void passOver() {
        leave();
        m_socket.release()->deleteLater(); // it may be what is calling
        m_proxies.removeFirst();
        tryFirst();
    }

    void choose() {
        leave();
        m_found(m_proxies.first());
        deleteLater();
    }

    void leave() {
        if (!m_socket)
            return;
        m_deadline->cancel();
        m_socket->disconnect(this);
    }

    QList<QNetworkProxy> m_proxies;
    MainQueue &m_queue;
    Found m_found;
    std::unique_ptr<QTcpSocket> m_socket;
    std::shared_ptr<WorkItem> m_deadline; ///< of the socket
};

SystemProxies::SystemProxies(MainQueue &queue, MakeAsk makeAsk)
    : m_queue(queue), m_makeAsk(std::move(makeAsk)), m_answers(std::make_shared<Answers>(queue)) {}

SystemProxies::~SystemProxies() {
    m_answers->refuse();
    for (const auto &search : m_searches)
        search->deadline->cancel();
    for (const auto &thread : m_threads)
        thread->dismiss();
    const auto latest = Clock::now() + moment;
    for (const auto &thread : m_threads)
        thread->awaitEnd(latest);
}

void SystemProxies::find(const QUrl &url, Found found) {
    if (isThisMachine(url)) {
        m_queue.async([found = std::move(found)] { found(QNetworkProxy(QNetworkProxy::NoProxy)); });
        return;
    }
    const auto search = std::make_shared<Search>(Search{url, std::move(found), {}, {}});
    search->deadline = m_queue.asyncAfter(longestLookup, [this, &search = *search] { giveUp(search); });
    m_searches += search;
    askForThoseWhoWait();
}

void SystemProxies::askForThoseWhoWait() {
    for (const auto &search : std::as_const(m_searches)) {
        if (!search->thread)
            search->thread = threadThatAsksFor(address(search->url));
    }
}

/// One that asks for it already, or else one that begins to. None where there is no thread to be had.
std::shared_ptr<SystemProxies::Thread> SystemProxies::threadThatAsksFor(const QByteArray &address) {
    for (const auto &thread : std::as_const(m_threads)) {
        if (thread->address == address && !thread->isOverdue)
            return thread;
    }
    auto thread = freeThread();
    if (!thread)
        return {};
    thread->address = address;
    thread->isOverdue = false;
    thread->ask([this, thread, answers = m_answers, trials = QPointer(&m_trials)](const auto &names) {
        answers->post([this, thread, names, trials] {
            if (trials)
                answer(thread, names);
        });
    });
    return thread;
}

/// None where all are stuck, or the system has no more. Somebody will have an answer, or time runs out.
std::shared_ptr<SystemProxies::Thread> SystemProxies::freeThread() {
    for (const auto &thread : std::as_const(m_threads)) {
        if (thread->address.isNull())
            return thread;
    }
    if (m_threads.size() == mostThreads)
        return {};
    try {
        const auto thread = std::make_shared<Thread>();
        thread->start(m_makeAsk);
        m_threads += thread;
        return thread;
    } catch (const std::system_error &) {
        return {};
    }
}

void SystemProxies::answer(const std::shared_ptr<Thread> &thread, const QList<QByteArray> &names) {
    thread->address = {};
    QList<std::shared_ptr<Search>> answered;
    m_searches.removeIf([&](const auto &search) {
        if (search->thread != thread)
            return false;
        answered += search;
        return true;
    });
    askForThoseWhoWait();
    const auto proxies = usableProxies(names);
    for (const auto &search : std::as_const(answered)) {
        search->deadline->cancel();
        if (proxies.isEmpty())
            search->found(TransportError::noUsableProxy(search->url));
        else
            new Trial(proxies, m_queue, search->found, &m_trials);
    }
}

void SystemProxies::giveUp(const Search &search) {
    const auto thread = search.thread;
    const auto url = search.url;
    const auto found = search.found;
    m_searches.removeIf([&](const auto &each) { return each.get() == &search; });
    if (thread) {
        thread->isOverdue = true;
        // Those who joined in have time left, and another thread may get the answer.
        for (const auto &joined : std::as_const(m_searches)) {
            if (joined->thread == thread)
                joined->thread.reset();
        }
        askForThoseWhoWait();
    }
    found(TransportError::unknownProxy(url, longestLookup));
}

/// Not through the toolkit, which asks on one thread for all, and adds a direct way to every answer.
SystemProxies::Ask SystemProxies::askSystem() {
    const std::shared_ptr<pxProxyFactory> factory(px_proxy_factory_new(), px_proxy_factory_free);
    return [factory](const QByteArray &address) {
        QList<QByteArray> names;
        if (char **found = px_proxy_factory_get_proxies(factory.get(), address.constData())) {
            for (char **name = found; *name; ++name)
                names += QByteArray(*name);
            px_proxy_factory_free_proxies(found);
        }
        return names;
    };
}

} // namespace quillora::platform
