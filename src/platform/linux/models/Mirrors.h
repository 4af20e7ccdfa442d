#pragma once

#include "platform/linux/models/ModelCatalog.h"

#include <QNetworkRequest>
#include <QSslCertificate>

namespace quillora::platform {

/// Which server is asked instead of a publisher's, and whose certificate it must have.
class Mirrors {
public:
    /// Reads the certificates of the mirrors' authorities.
    explicit Mirrors(const QList<ModelMirror> &mirrors = {});

    /// Where to ask for what the address names.
    QUrl routed(const QUrl &address) const;

    /// Lets a request to a mirror trust the mirror's authority, and nobody else; any other request is left
    /// alone. An authority that cannot be read is trusted by nobody.
    void trust(QNetworkRequest &request) const;

private:
    struct Mirror {
        ModelMirror where;
        QList<QSslCertificate> authority;
    };
    QList<Mirror> m_mirrors;
};

} // namespace quillora::platform
