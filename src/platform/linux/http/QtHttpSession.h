#pragma once

#include "platform/HttpSession.h"
#include "platform/MainQueue.h"
#include "platform/linux/http/SystemProxies.h"

#include <QObject>

#include <chrono>
#include <memory>

namespace quillora::platform {

class HttpConnection;

/// HTTP and HTTPS, version 1.1, over the toolkit's client. Main thread only.
///
/// A request goes to the origin in its URL and nowhere else: a redirect is followed only within that origin
/// and only where it keeps method and body (307, 308); any other is the answer. TLS certificates are verified
/// without exception. Answers longer than 1 MiB, a silence longer than the request's timeoutInterval and an
/// exchange longer than `totalTime` are errors. Each request has a connection of its own, which is closed
/// after it, and goes out once, whatever becomes of it. No cookies, no cache, no stored credentials; the
/// system's proxies are used.
///
/// Destroying it aborts what is under way: the waiters get an error from the main queue.
class QtHttpSession : public HttpSession {
public:
    static constexpr std::chrono::minutes totalTime{2};

    /// How long a connection that was opened in advance waits for its request. Servers close those that stay
    /// silent, the common ones after 20 s at the earliest.
    static constexpr std::chrono::seconds longestWait{10};

    /// `queue` outlives the session and keeps its time.
    explicit QtHttpSession(MainQueue &queue);
    ~QtHttpSession() override;

    void prepare(const QUrl &url) override;
    QCoro::Task<HttpResponse> data(HttpRequest request) override;

private:
    std::unique_ptr<HttpConnection> connectionTo(const QUrl &url);
    void dropPrepared();

    MainQueue &m_queue;
    SystemProxies m_proxies{m_queue};
    std::unique_ptr<HttpConnection> m_prepared;
    std::shared_ptr<WorkItem> m_preparedDeadline; ///< as long as there is one prepared
    QObject m_exchanges; ///< the parent of those under way; they go before what they use
};

} // namespace quillora::platform
