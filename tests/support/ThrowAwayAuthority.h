#pragma once

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QString>
#include <QTemporaryDir>

namespace quillora::test {

/// A certificate authority that exists as long as this object, made with the openssl command.
class ThrowAwayAuthority {
public:
    /// Throws std::runtime_error if openssl cannot be run.
    ThrowAwayAuthority();

    const QSslCertificate &certificate() const { return m_certificate; }

    /// From here on this process trusts it, and no other.
    void trustHere() const;

    /// A server's certificate and key for `host` (a DNS name or an IP address), valid for so many days from
    /// now; in the past if the number is negative.
    QSslConfiguration issue(const QString &host, int days = 1) const;

private:
    QString path(const QString &name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
    QSslCertificate m_certificate;
};

} // namespace quillora::test
