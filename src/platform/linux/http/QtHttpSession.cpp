#include "platform/linux/http/QtHttpSession.h"

#include "platform/linux/http/HttpExchange.h"
#include "platform/linux/http/TransportError.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

void requireHttpAddress(const QUrl &url) {
    if (url.scheme() != u"http" && url.scheme() != u"https")
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

QtHttpSession::QtHttpSession(MainQueue &queue, Advice advice) : m_queue(queue), m_advice(std::move(advice)) {}

QtHttpSession::~QtHttpSession() = default;

QCoro::Task<HttpResponse> QtHttpSession::data(HttpRequest request) {
    requireHttpAddress(request.url);
    requireSendableHeaders(request);
    const QString advice = request.url.host() == m_advice.host ? m_advice.sentence : QString();
    Continuation<HttpResponse> waiter;
    const auto response = waiter.wait();
    new HttpExchange({m_network, m_proxies, m_queue}, std::move(request), totalTime, std::move(waiter),
                     &m_exchanges);
    // The session may be gone when the answer comes.
    try {
        co_return co_await response;
    } catch (const TransportError &error) {
        if (advice.isEmpty())
            throw;
        throw error.withAdvice(advice);
    }
}

} // namespace quillora::platform
