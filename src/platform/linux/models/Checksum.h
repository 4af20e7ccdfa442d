#pragma once

#include "platform/linux/models/ModelFault.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QString>

#include <memory>

struct evp_md_ctx_st;

namespace quillora::platform {

/// The SHA-256 of what is added. OpenSSL's, since the toolkit's own is an order of magnitude slower.
class Sha256 {
public:
    Sha256();

    void add(QByteArrayView bytes);

    /// In hexadecimal digits. Nothing can be added any more.
    QByteArray result();

private:
    struct Free {
        void operator()(evp_md_ctx_st *context) const;
    };
    const std::unique_ptr<evp_md_ctx_st, Free> m_context;
};

/// Those of files, by their names below a folder.
using Checksums = QHash<QString, QByteArray>;

/// The SHA-256 of a file in hexadecimal digits, read in small portions. A file that cannot be read is a
/// ModelFault with the system's reason.
QByteArray checksumOf(const QString &path, const IsUnwanted &isUnwanted);

/// Whether that could be one, whatever the case of its digits.
bool isSha256(const QByteArray &text);

} // namespace quillora::platform
