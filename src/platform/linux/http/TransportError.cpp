#include "platform/linux/http/TransportError.h"

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

QString certificateFault(const QList<QSslError> &errors) {
    if (errors.isEmpty())
        return u"the server does not offer a secure connection that works"_s;
    switch (errors.first().error()) {
    case QSslError::CertificateExpired:
        return u"the server's certificate has expired"_s;
    case QSslError::CertificateNotYetValid:
        return u"the server's certificate is not valid yet (check this computer's clock)"_s;
    case QSslError::HostNameMismatch:
        return u"the server's certificate belongs to another host"_s;
    case QSslError::CertificateRevoked:
    case QSslError::CertificateBlacklisted:
        return u"the server's certificate has been revoked"_s;
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return u"the server's certificate comes from an authority that this computer does not trust"_s;
    default:
        return u"the server's certificate is not valid"_s;
    }
}

QString seconds(std::chrono::milliseconds limit) {
    return u"%1 seconds"_s.arg(std::chrono::duration_cast<std::chrono::seconds>(limit).count());
}

/// The host, and the proxy that is asked for it: either may be what fails.
QString peer(const QString &host, const QNetworkProxy &proxy) {
    return proxy.hostName().isEmpty() ? host : host + u" through the proxy server "_s + proxy.hostName();
}

QString networkFault(const QString &host, const QNetworkProxy &proxy, QNetworkReply::NetworkError error,
                     const QList<QSslError> &tlsErrors) {
    const QString couldNotConnect = u"Could not connect to "_s + peer(host, proxy);
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return couldNotConnect + u": connection refused."_s;
    case QNetworkReply::HostNotFoundError:
        return couldNotConnect + u": there is no such host, or this computer is offline."_s;
    case QNetworkReply::TimeoutError:
        return couldNotConnect + u": it did not respond."_s;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ContentReSendError:
        return host + u" closed the connection before its answer was complete."_s;
    case QNetworkReply::SslHandshakeFailedError:
        return u"Could not connect securely to "_s + host + u": "_s + certificateFault(tlsErrors) + u'.';
    case QNetworkReply::ProxyConnectionRefusedError:
        return couldNotConnect + u": it refused the connection."_s;
    case QNetworkReply::ProxyConnectionClosedError:
        return couldNotConnect + u": it closed the connection."_s;
    case QNetworkReply::ProxyNotFoundError:
        return couldNotConnect + u": it was not found."_s;
    case QNetworkReply::ProxyTimeoutError:
        return couldNotConnect + u": it did not respond."_s;
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return couldNotConnect + u": it asks for a password."_s;
    case QNetworkReply::UnknownProxyError:
        return couldNotConnect + u": it failed."_s;
    default:
        return u"The connection to "_s + peer(host, proxy) + u" failed."_s;
    }
}

} // namespace

TransportError TransportError::unsupportedScheme(const QUrl &url) {
    return TransportError(
        u"Addresses that begin with \"%1:\" are not supported; use \"https:\"."_s.arg(url.scheme()));
}

TransportError TransportError::missingHost() { return TransportError(u"The address names no host."_s); }

TransportError TransportError::unsendableHeader() {
    return TransportError(u"The request holds a control character where none may be."_s);
}

TransportError TransportError::unknownProxy(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(
        u"Could not find out within %1 which proxy server leads to %2."_s.arg(seconds(limit), url.host()));
}

TransportError TransportError::noUsableProxy(const QUrl &url) {
    return TransportError(
        u"Could not connect to %1: no proxy server that can be used leads there."_s.arg(url.host()));
}

TransportError TransportError::silence(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(url.host() + u" sent nothing for "_s + seconds(limit) + u'.');
}

TransportError TransportError::slowness(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(url.host() + u" did not complete its answer within "_s + seconds(limit) + u'.');
}

TransportError TransportError::noAnswer(const QUrl &url) {
    return TransportError(url.host() + u" closed the connection without a valid answer."_s);
}

TransportError TransportError::tooLong(const QUrl &url) {
    return TransportError(u"The answer from "_s + url.host() + u" is longer than 1 MiB."_s);
}

TransportError TransportError::tooManyRedirects(const QUrl &url) {
    return TransportError(url.host() + u" redirects without end."_s);
}

TransportError TransportError::sessionEnded() {
    return TransportError(u"The program ended before the answer came."_s);
}

TransportError TransportError::network(const QUrl &url, const QNetworkProxy &proxy,
                                       QNetworkReply::NetworkError error, const QList<QSslError> &tlsErrors) {
    return TransportError(networkFault(url.host(), proxy, error, tlsErrors));
}

} // namespace quillora::platform
