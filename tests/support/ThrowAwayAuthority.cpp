#include "support/ThrowAwayAuthority.h"

#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QSslKey>

#include <stdexcept>

namespace quillora::test {

namespace {

const QStringList newKey{QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                         QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes")};

void openssl(const QStringList &arguments) {
    QProcess process;
    process.start(u"openssl"_qs, arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        throw std::runtime_error("openssl failed: " + process.readAllStandardError().toStdString());
}

QByteArray contents(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll();
}

} // namespace

ThrowAwayAuthority::ThrowAwayAuthority() {
    openssl(QStringList{u"req"_qs, u"-x509"_qs, u"-subj"_qs, u"/CN=Throw-away authority"_qs, u"-days"_qs,
                        u"2"_qs, u"-keyout"_qs, path(u"ca.key"_qs), u"-out"_qs, path(u"ca.pem"_qs)} +
            newKey);
    m_certificate = QSslCertificate(contents(path(u"ca.pem"_qs)));
}

void ThrowAwayAuthority::trustHere() const {
    auto configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({m_certificate});
    QSslConfiguration::setDefaultConfiguration(configuration);
}

QSslConfiguration ThrowAwayAuthority::issue(const QString &host, int days) const {
    const QString kind = QHostAddress(host).isNull() ? u"DNS:"_qs : u"IP:"_qs;
    QFile extensions(path(u"server.ext"_qs));
    if (!extensions.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw std::runtime_error("cannot write the certificate's extensions");
    extensions.write("subjectAltName=" + (kind + host).toUtf8() + "\nextendedKeyUsage=serverAuth\n");
    extensions.close();

    openssl(QStringList{u"req"_qs, u"-subj"_qs, u"/CN=Throw-away server"_qs, u"-keyout"_qs,
                        path(u"server.key"_qs), u"-out"_qs, path(u"server.csr"_qs)} +
            newKey);
    openssl({u"x509"_qs, u"-req"_qs, u"-in"_qs, path(u"server.csr"_qs), u"-CA"_qs, path(u"ca.pem"_qs),
             u"-CAkey"_qs, path(u"ca.key"_qs), u"-CAcreateserial"_qs, u"-days"_qs, QString::number(days),
             u"-extfile"_qs, path(u"server.ext"_qs), u"-out"_qs, path(u"server.pem"_qs)});

    QSslConfiguration configuration;
    configuration.setLocalCertificate(QSslCertificate(contents(path(u"server.pem"_qs))));
    configuration.setPrivateKey(QSslKey(contents(path(u"server.key"_qs)), QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

} // namespace quillora::test
