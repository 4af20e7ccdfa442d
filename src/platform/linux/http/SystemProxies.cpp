#include "platform/linux/http/SystemProxies.h"

#include <QHostAddress>
#include <QNetworkProxyFactory>

#include <utility>

namespace quillora::platform {

namespace {

bool isThisMachine(const QUrl &url) {
    return url.host() == u"localhost" || QHostAddress(url.host()).isLoopback();
}

QNetworkProxy proxyFor(const QUrl &url) {
    if (isThisMachine(url))
        return QNetworkProxy::NoProxy;
    const auto proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
    return proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
}

} // namespace

SystemProxies::SystemProxies(MainQueue &queue) : m_queue(queue) { m_thread.setMaxThreadCount(1); }

void SystemProxies::find(const QUrl &url, Found found) {
    m_thread.start([&queue = m_queue, url, found = std::move(found)]() mutable {
        queue.async([proxy = proxyFor(url), found = std::move(found)] { found(proxy); });
    });
}

} // namespace quillora::platform
