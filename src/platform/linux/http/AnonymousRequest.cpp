#include "platform/linux/http/AnonymousRequest.h"

namespace quillora::platform {

QNetworkRequest anonymousRequest(const QUrl &url) {
    QNetworkRequest result(url);
    // Where Qt would speak for us, it would tell the user's locale, call itself a browser and inflate answers
    // beyond the size that was sent.
    result.setRawHeader("User-Agent", "Quillora");
    result.setRawHeader("Accept-Language", "en");
    result.setRawHeader("Accept-Encoding", "identity");
    // HTTP/2 sends head and body apart, and the toolkit lets the second wait until the first is acknowledged,
    // which takes 40 ms. It has nothing to give for one request a connection. Without TLS it is never spoken,
    // but a request that forbids it does not find the connection that was opened for it.
    if (url.scheme() == u"https")
        result.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    return result;
}

} // namespace quillora::platform
