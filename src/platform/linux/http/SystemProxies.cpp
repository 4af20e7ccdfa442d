#include "platform/linux/http/SystemProxies.h"

#include <QHostAddress>
#include <QNetworkProxyFactory>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace quillora::platform {

namespace {

constexpr std::chrono::milliseconds moment{100};

bool isThisMachine(const QUrl &url) {
    return url.host() == u"localhost" || QHostAddress(url.host()).isLoopback();
}

QNetworkProxy proxyFor(const QUrl &url) {
    const auto proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
    return proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
}

bool isDone(QThreadPool &thread, std::chrono::milliseconds time) {
    return thread.waitForDone(static_cast<int>(time.count()));
}

/// The toolkit itself waits for the same lookup when its own statics go. So that it does not, the program
/// ends without them, with the status that it would have had.
void abandon(std::unique_ptr<QThreadPool> thread) {
    const auto atTheEnd = [](int status, void *abandoned) {
        const std::unique_ptr<QThreadPool> owned(static_cast<QThreadPool *>(abandoned));
        if (isDone(*owned, {}))
            return;
        std::fflush(nullptr);
        _exit(status);
    };
    on_exit(atTheEnd, thread.release());
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

SystemProxies::SystemProxies(MainQueue &queue)
    : m_queue(queue), m_answers(std::make_shared<Answers>(queue)), m_thread(std::make_unique<QThreadPool>()) {
    m_thread->setMaxThreadCount(1);
}

SystemProxies::~SystemProxies() {
    m_answers->refuse();
    m_thread->clear();
    if (!isDone(*m_thread, moment))
        abandon(std::move(m_thread));
}

void SystemProxies::find(const QUrl &url, Found found) {
    if (isThisMachine(url)) {
        m_queue.async([found = std::move(found)] { found(QNetworkProxy::NoProxy); });
        return;
    }
    m_thread->start([answers = m_answers, url, found = std::move(found)]() mutable {
        answers->post([proxy = proxyFor(url), found = std::move(found)] { found(proxy); });
    });
}

} // namespace quillora::platform
