#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QUrl>

#include <chrono>
#include <utility>

namespace quillora::platform {

enum class HttpCachePolicy { useProtocolCachePolicy };

struct HttpRequest {
    QUrl url;
    QByteArray method;
    HttpCachePolicy cachePolicy = HttpCachePolicy::useProtocolCachePolicy;
    std::chrono::milliseconds timeoutInterval{0};     ///< longest wait for more data
    QList<std::pair<QByteArray, QByteArray>> headers; ///< sent in this order
    QByteArray body;
};

struct HttpResponse {
    bool isHttp = false; ///< false where the URL led to something that is not HTTP
    int statusCode = 0;
    QByteArray body;
};

/// The system's shared HTTP client. Main thread only.
class HttpSession {
public:
    virtual ~HttpSession() = default;

    /// Opens a connection to the origin of `url`, so that the next request to it finds one; nothing happens
    /// where there is one already. Nothing of a request is sent. One such connection is kept at most, and not
    /// for long. Never fails: what cannot be opened is left to the request.
    virtual void prepare(const QUrl &url) = 0;

    /// Suspends until the whole answer has come; throws a LocalizedError on any failure of the transport.
    /// What the server may have seen is never sent again.
    virtual QCoro::Task<HttpResponse> data(HttpRequest request) = 0;
};

} // namespace quillora::platform
