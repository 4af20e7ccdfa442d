#include "platform/linux/http/TransportError.h"

namespace quillora::platform {

namespace {

QString certificateFault(const QList<QSslError> &errors) {
    if (errors.isEmpty())
        return u"the server does not offer a secure connection that works"_qs;
    switch (errors.first().error()) {
    case QSslError::CertificateExpired:
        return u"the server's certificate has expired"_qs;
    case QSslError::CertificateNotYetValid:
        return u"the server's certificate is not valid yet (check this computer's clock)"_qs;
    case QSslError::HostNameMismatch:
        return u"the server's certificate belongs to another host"_qs;
    case QSslError::CertificateRevoked:
    case QSslError::CertificateBlacklisted:
        return u"the server's certificate has been revoked"_qs;
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return u"the server's certificate comes from an authority that this computer does not trust"_qs;
    default:
        return u"the server's certificate is not valid"_qs;
    }
}

QString seconds(std::chrono::milliseconds limit) {
    return u"%1 seconds"_qs.arg(std::chrono::duration_cast<std::chrono::seconds>(limit).count());
}

/// The host, and the proxy that is asked for it: either may be what fails.
QString peer(const QString &host, const QNetworkProxy &proxy) {
    return proxy.hostName().isEmpty() ? host : host + u" through the proxy server "_qs + proxy.hostName();
}

QString networkFault(const QString &host, const QNetworkProxy &proxy, QNetworkReply::NetworkError error,
                     const QList<QSslError> &tlsErrors) {
    const QString couldNotConnect = u"Could not connect to "_qs + peer(host, proxy);
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return couldNotConnect + u": connection refused."_qs;
    case QNetworkReply::HostNotFoundError:
        return couldNotConnect + u": there is no such host, or this computer is offline."_qs;
    case QNetworkReply::TimeoutError:
        return couldNotConnect + u": it did not respond."_qs;
    case QNetworkReply::RemoteHostClosedError:
        return host + u" closed the connection before its answer was complete."_qs;
    case QNetworkReply::SslHandshakeFailedError:
        return u"Could not connect securely to "_qs + host + u": "_qs + certificateFault(tlsErrors) + u'.';
    case QNetworkReply::ProxyConnectionRefusedError:
        return couldNotConnect + u": it refused the connection."_qs;
    case QNetworkReply::ProxyConnectionClosedError:
        return couldNotConnect + u": it closed the connection."_qs;
    case QNetworkReply::ProxyNotFoundError:
        return couldNotConnect + u": it was not found."_qs;
    case QNetworkReply::ProxyTimeoutError:
        return couldNotConnect + u": it did not respond."_qs;
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return couldNotConnect + u": it asks for a password."_qs;
    case QNetworkReply::UnknownProxyError:
        return couldNotConnect + u": it failed."_qs;
    default:
        return u"The connection to "_qs + peer(host, proxy) + u" failed."_qs;
    }
}

} // namespace

TransportError TransportError::unsupportedScheme(const QUrl &url) {
    return TransportError(
        u"Addresses that begin with \"%1:\" are not supported; use \"https:\"."_qs.arg(url.scheme()));
}

TransportError TransportError::missingHost() { return TransportError(u"The address names no host."_qs); }

TransportError TransportError::unsendableHeader() {
    return TransportError(u"The request holds a control character where none may be."_qs);
}

TransportError TransportError::unknownProxy(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(
        u"Could not find out within %1 which proxy server leads to %2."_qs.arg(seconds(limit), url.host()));
}

TransportError TransportError::noUsableProxy(const QUrl &url) {
    return TransportError(
        u"Could not connect to %1: no proxy server that can be used leads there."_qs.arg(url.host()));
}

TransportError TransportError::silence(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(url.host() + u" sent nothing for "_qs + seconds(limit) + u'.');
}

TransportError TransportError::slowness(const QUrl &url, std::chrono::milliseconds limit) {
    return TransportError(url.host() + u" did not complete its answer within "_qs + seconds(limit) + u'.');
}

TransportError TransportError::noAnswer(const QUrl &url) {
    return TransportError(url.host() + u" closed the connection without a valid answer."_qs);
}

TransportError TransportError::tooLong(const QUrl &url) {
    return TransportError(u"The answer from "_qs + url.host() + u" is longer than 1 MiB."_qs);
}

TransportError TransportError::tooManyRedirects(const QUrl &url) {
    return TransportError(url.host() + u" redirects without end."_qs);
}

TransportError TransportError::sessionEnded() {
    return TransportError(u"The program ended before the answer came."_qs);
}

TransportError TransportError::network(const QUrl &url, const QNetworkProxy &proxy,
                                       QNetworkReply::NetworkError error, const QList<QSslError> &tlsErrors) {
    return TransportError(networkFault(url.host(), proxy, error, tlsErrors));
}

} // namespace quillora::platform
