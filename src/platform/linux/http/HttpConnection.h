#pragma once

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

namespace quillora::platform {

class SystemProxies;

/// Whether both lead to the same scheme, host and port.
bool isSameOrigin(const QUrl &a, const QUrl &b);

/// The way to one origin, for one request: the proxy that leads there, and a connection that may be open
/// before there is a request. Main thread only.
///
/// The toolkit's client is one of its own, so that no connection carries a second request: where a kept one
/// dies, nobody can tell whether the server has seen the request, and who cannot tell must not repeat it.
class HttpConnection : public QObject {
    Q_OBJECT

public:
    using ProxyKnown = std::function<void(const QNetworkProxy &)>;

    /// Looks for the proxy at once. `proxies` outlives it.
    HttpConnection(const QUrl &url, SystemProxies &proxies);

    bool leadsTo(const QUrl &url) const { return isSameOrigin(m_url, url); }

    /// Connects once the proxy is known. A failure shows with the request.
    void open();

    /// Calls `then` once no connection is being opened, at once if none is. A request that set out earlier
    /// would make the toolkit open a second one.
    void whenOpened(std::function<void()> then);

    /// Calls `then` once the proxy is known, at once if it is already. Only the last one who asked is told.
    void whenProxyIsKnown(ProxyKnown then);

    QNetworkAccessManager &network() { return m_network; }

private:
    void opened();

    QUrl m_url;
    QNetworkAccessManager m_network;
    std::optional<QNetworkProxy> m_proxy;
    ProxyKnown m_onProxyKnown;
    bool m_isOpening = false;
    std::function<void()> m_onOpened;
};

} // namespace quillora::platform
