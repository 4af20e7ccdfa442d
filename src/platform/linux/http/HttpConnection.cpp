#include "platform/linux/http/HttpConnection.h"

#include <QNetworkReply>
#include <QPointer>

#include <utility>

namespace quillora::platform {

namespace {

bool isSecure(const QUrl &url) { return url.scheme() == u"https"; }

quint16 effectivePort(const QUrl &url) { return static_cast<quint16>(url.port(isSecure(url) ? 443 : 80)); }

} // namespace

bool isSameOrigin(const QUrl &a, const QUrl &b) {
    return a.scheme() == b.scheme() && a.host() == b.host() && effectivePort(a) == effectivePort(b);
}

HttpConnection::HttpConnection(const QUrl &url, SystemProxies &proxies) : m_url(url) {
    proxies.find(m_url, [self = QPointer(this)](const SystemProxies::Result &found) {
        if (!self)
            return;
        self->m_proxy = found;
        if (const auto then = std::exchange(self->m_onProxyKnown, nullptr))
            then(found);
    });
}

bool HttpConnection::canServe(const QUrl &url) const {
    return isSameOrigin(m_url, url) && !(m_proxy && std::holds_alternative<TransportError>(*m_proxy));
}

void HttpConnection::open() {
    whenProxyIsKnown([this](const SystemProxies::Result &found) {
        const auto *proxy = std::get_if<QNetworkProxy>(&found);
        if (!proxy)
            return;
        m_isOpening = true;
        connect(&m_network, &QNetworkAccessManager::finished, this, &HttpConnection::opened,
                Qt::SingleShotConnection);
        m_network.setProxy(*proxy);
        if (isSecure(m_url))
            m_network.connectToHostEncrypted(m_url.host(), effectivePort(m_url));
        else
            m_network.connectToHost(m_url.host(), effectivePort(m_url));
    });
}

void HttpConnection::opened() {
    m_isOpening = false;
    if (const auto then = std::exchange(m_onOpened, nullptr))
        then();
}

void HttpConnection::whenOpened(std::function<void()> then) {
    if (m_isOpening)
        m_onOpened = std::move(then);
    else
        then();
}

void HttpConnection::whenProxyIsKnown(SystemProxies::Found then) {
    if (m_proxy)
        then(*m_proxy);
    else
        m_onProxyKnown = std::move(then);
}

} // namespace quillora::platform
