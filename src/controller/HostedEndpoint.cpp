#include "controller/HostedEndpoint.h"

namespace quillora {

QString defaultEndpoint() { return QStringLiteral(QUILLORA_DEFAULT_ENDPOINT); }

QString adviceWithoutDefaultEndpoint() {
    return QStringLiteral("Enter the URL of your own backend in the panel, or choose a target language that "
                          "Apple Local can translate.");
}

QString migratedEndpoint(const QString &stored) {
    QString endpoint = stored.trimmed();
    if (endpoint.isEmpty() || endpoint == u"http://127.0.0.1:8787/v1/translate")
        return defaultEndpoint();
    return endpoint;
}

} // namespace quillora
