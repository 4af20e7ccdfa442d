#pragma once

#include "platform/LocalizedError.h"

#include <QList>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSslError>
#include <QUrl>

#include <chrono>

namespace quillora::platform {

/// Why no answer came, in a sentence that names the host and nothing else of the request: an address may hold
/// a secret in its path, and headers do.
class TransportError : public LocalizedError {
public:
    /// The address cannot be asked over HTTP at all.
    static TransportError unsupportedScheme(const QUrl &url);
    static TransportError missingHost();

    /// A header that would break out of its line.
    static TransportError unsendableHeader();

    /// The system did not say in time whether there is a proxy.
    static TransportError unknownProxy(const QUrl &url, std::chrono::milliseconds limit);

    /// The system names proxies, but none that can be used.
    static TransportError noUsableProxy(const QUrl &url);

    static TransportError silence(const QUrl &url, std::chrono::milliseconds limit);
    static TransportError slowness(const QUrl &url, std::chrono::milliseconds limit);
    static TransportError noAnswer(const QUrl &url);
    static TransportError tooLong(const QUrl &url);
    static TransportError tooManyRedirects(const QUrl &url);
    static TransportError sessionEnded();

    /// `proxy` is what stood between, if anything; `tlsErrors` what was wrong with the certificate.
    static TransportError network(const QUrl &url, const QNetworkProxy &proxy,
                                  QNetworkReply::NetworkError error, const QList<QSslError> &tlsErrors);

private:
    using LocalizedError::LocalizedError;
};

} // namespace quillora::platform
