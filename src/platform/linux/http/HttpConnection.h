#pragma once

#include "platform/linux/http/SystemProxies.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

namespace quillora::platform {

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
    /// Looks for the proxy at once. `proxies` outlives it.
    HttpConnection(const QUrl &url, SystemProxies &proxies);

    /// Whether a request to `url` may use it. Where the search for a proxy failed, the next may not.
    bool canServe(const QUrl &url) const;

    /// Connects once the proxy is known. A failure shows with the request.
    void open();

    /// Calls `then` once no connection is being opened, at once if none is. A request that set out earlier
    /// would make the toolkit open a second one.
    void whenOpened(std::function<void()> then);

    /// Calls `then` once the search for a proxy is over, at once if it is already. Only the last one who
    /// asked is told.
    void whenProxyIsKnown(SystemProxies::Found then);

    QNetworkAccessManager &network() { return m_network; }

private:
    void opened();

    QUrl m_url;
    QNetworkAccessManager m_network;
    std::optional<SystemProxies::Result> m_proxy;
    SystemProxies::Found m_onProxyKnown;
    bool m_isOpening = false;
    std::function<void()> m_onOpened;
};

} // namespace quillora::platform
