#include "platform/linux/models/Mirrors.h"

#include "platform/linux/http/HttpConnection.h"

#include <QSslConfiguration>

namespace quillora::platform {

Mirrors::Mirrors(const QList<ModelMirror> &mirrors) {
    for (const auto &mirror : mirrors)
        m_mirrors += Mirror{mirror, mirror.authority.isEmpty() ? QList<QSslCertificate>()
                                                               : QSslCertificate::fromPath(mirror.authority)};
}

QUrl Mirrors::routed(const QUrl &address) const {
    for (const auto &mirror : m_mirrors) {
        const QUrl &of = mirror.where.of;
        if (!isSameOrigin(of, address) || !address.path().startsWith(of.path()))
            continue;
        QUrl routed = address;
        routed.setHost(mirror.where.address.host());
        routed.setPort(mirror.where.address.port());
        routed.setPath(mirror.where.address.path() + address.path().mid(of.path().size()), QUrl::DecodedMode);
        return routed;
    }
    return address;
}

void Mirrors::trust(QNetworkRequest &request) const {
    for (const auto &mirror : m_mirrors) {
        if (mirror.where.authority.isEmpty() || !isSameOrigin(mirror.where.address, request.url()))
            continue;
        auto configuration = request.sslConfiguration();
        configuration.setCaCertificates(mirror.authority);
        request.setSslConfiguration(configuration);
    }
}

} // namespace quillora::platform
