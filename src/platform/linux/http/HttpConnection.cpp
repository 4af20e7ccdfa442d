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
        m_network.setProxy(*proxy);
        m_state = State::opening;
        connectToOrigin();
    });
}

void HttpConnection::connectToOrigin() {
    connect(&m_network, &QNetworkAccessManager::finished, this, &HttpConnection::connected,
            Qt::SingleShotConnection);
    if (isSecure(m_url))
        m_network.connectToHostEncrypted(m_url.host(), effectivePort(m_url));
    else
        m_network.connectToHost(m_url.host(), effectivePort(m_url));
}

void HttpConnection::connected(QNetworkReply *reply) {
    const bool isChecked = m_state == State::checking;
    m_state = reply->error() == QNetworkReply::NoError ? State::open : State::closed;
    if (!m_onReady)
        return;
    if (m_state == State::open && !isChecked)
        check();
    else
        std::exchange(m_onReady, nullptr)();
}

/// Asked to connect once more, the toolkit keeps the connection that is there, but closes it where something
/// has come over it.
void HttpConnection::check() {
    m_state = State::checking;
    connectToOrigin();
}

void HttpConnection::whenReady(std::function<void()> then) {
    if (m_state == State::closed) {
        then();
        return;
    }
    m_onReady = std::move(then);
    if (m_state == State::open)
        check();
}

void HttpConnection::whenProxyIsKnown(SystemProxies::Found then) {
    if (m_proxy)
        then(*m_proxy);
    else
        m_onProxyKnown = std::move(then);
}

} // namespace quillora::platform
