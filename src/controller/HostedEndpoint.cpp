#include "controller/HostedEndpoint.h"

namespace quillora {

QString defaultEndpoint() { return QStringLiteral(QUILLORA_DEFAULT_ENDPOINT); }

QString adviceWithoutDefaultEndpoint() {
    return QStringLiteral("Enter your own Backend URL, or choose a language of Apple Local.");
}

QString migratedEndpoint(const QString &stored) {
    const QString endpoint = stored.trimmed();
    if (endpoint.isEmpty() || endpoint == u"http://127.0.0.1:8787/v1/translate")
        return defaultEndpoint();
    return endpoint;
}

} // namespace quillora
