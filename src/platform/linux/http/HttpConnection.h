#pragma once

#include "platform/linux/http/SystemProxies.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkReply;

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

    /// Calls `then` once a request may set out, at once if nothing was opened. Earlier, it would make the
    /// toolkit open a second connection, or take for its answer what the server said before it was asked: a
    /// connection that has brought anything is closed here.
    void whenReady(std::function<void()> then);

    /// Calls `then` once the search for a proxy is over, at once if it is already. Only the last one who
    /// asked is told.
    void whenProxyIsKnown(SystemProxies::Found then);

    QNetworkAccessManager &network() { return m_network; }

private:
    /// Of what was opened in advance, as far as is known.
    enum class State { closed, opening, open, checking };

    void connectToOrigin();
    void connected(QNetworkReply *reply);
    void check();

    QUrl m_url;
    QNetworkAccessManager m_network;
    std::optional<SystemProxies::Result> m_proxy;
    SystemProxies::Found m_onProxyKnown;
    State m_state = State::closed;
    std::function<void()> m_onReady;
};

} // namespace quillora::platform
