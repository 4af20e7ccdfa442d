#include "platform/linux/http/QtHttpSession.h"

#include "platform/linux/http/HttpConnection.h"
#include "platform/linux/http/HttpExchange.h"
#include "platform/linux/http/TransportError.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

bool isHttp(const QUrl &url) { return url.scheme() == u"http" || url.scheme() == u"https"; }

void requireHttpAddress(const QUrl &url) {
    if (!isHttp(url))
        throw TransportError::unsupportedScheme(url);
    if (url.host().isEmpty())
        throw TransportError::missingHost();
}

bool holdsControlCharacter(const QByteArray &bytes) {
    return std::any_of(bytes.cbegin(), bytes.cend(), [](char byte) {
        return (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
    });
}

void requireSendableHeaders(const HttpRequest &request) {
    for (const auto &[name, value] : request.headers) {
        if (holdsControlCharacter(name) || holdsControlCharacter(value))
            throw TransportError::unsendableHeader();
    }
}

} // namespace

QtHttpSession::QtHttpSession(MainQueue &queue) : m_queue(queue) {}

QtHttpSession::~QtHttpSession() { dropPrepared(); }

void QtHttpSession::prepare(const QUrl &url) {
    if (m_prepared && m_prepared->canServe(url))
        return;
    dropPrepared();
    if (!isHttp(url) || url.host().isEmpty())
        return;
    m_prepared = std::make_unique<HttpConnection>(url, m_proxies);
    m_prepared->open();
    m_preparedDeadline = m_queue.asyncAfter(longestWait, [this] { m_prepared.reset(); });
}

void QtHttpSession::dropPrepared() {
    if (m_preparedDeadline)
        m_preparedDeadline->cancel();
    m_prepared.reset();
}

std::unique_ptr<HttpConnection> QtHttpSession::connectionTo(const QUrl &url) {
    if (!m_prepared || !m_prepared->canServe(url))
        return std::make_unique<HttpConnection>(url, m_proxies);
    m_preparedDeadline->cancel();
    return std::move(m_prepared);
}

QCoro::Task<HttpResponse> QtHttpSession::data(HttpRequest request) {
    requireHttpAddress(request.url);
    requireSendableHeaders(request);
    Continuation<HttpResponse> waiter(m_queue);
    const auto response = waiter.wait();
    auto connection = connectionTo(request.url);
    new HttpExchange(std::move(connection), m_queue, std::move(request), totalTime, std::move(waiter),
                     &m_exchanges);
    // The session may be gone when the answer comes.
    co_return co_await response;
}

} // namespace quillora::platform
