#include "controller/HostedEndpoint.h"

#include <QUrl>

using namespace Qt::StringLiterals;

namespace quillora {

QString defaultEndpoint() { return QStringLiteral(QUILLORA_DEFAULT_ENDPOINT); }

bool leadsNowhere(const QString &endpoint) {
    // The names under this one are reserved for documentation and belong to nobody.
    return endpoint == defaultEndpoint() && QUrl(endpoint).host().endsWith(u".example"_s);
}

QString adviceWithoutDefaultEndpoint() {
    // True for every pair: which ones can be translated here depends on what is installed, and not every one
    // can be.
    return QStringLiteral("Enter your own Backend URL, or choose languages that Apple Local can translate.");
}

QString migratedEndpoint(const QString &stored) {
    QString endpoint = stored.trimmed();
    if (endpoint.isEmpty() || endpoint == u"http://127.0.0.1:8787/v1/translate")
        return defaultEndpoint();
    return endpoint;
}

} // namespace quillora
