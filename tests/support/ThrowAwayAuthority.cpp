#include "support/ThrowAwayAuthority.h"

#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QSslKey>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

const QStringList newKey{QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                         QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes")};

void openssl(const QStringList &arguments) {
    QProcess process;
    process.start(u"openssl"_s, arguments);
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
    openssl(QStringList{u"req"_s, u"-x509"_s, u"-subj"_s, u"/CN=Throw-away authority"_s, u"-days"_s, u"2"_s,
                        u"-keyout"_s, path(u"ca.key"_s), u"-out"_s, path(u"ca.pem"_s)} +
            newKey);
    m_certificate = QSslCertificate(contents(path(u"ca.pem"_s)));
}

void ThrowAwayAuthority::trustHere() const {
    auto configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({m_certificate});
    QSslConfiguration::setDefaultConfiguration(configuration);
}

QSslConfiguration ThrowAwayAuthority::issue(const QString &host, int days) const {
    const QString kind = QHostAddress(host).isNull() ? u"DNS:"_s : u"IP:"_s;
    QFile extensions(path(u"server.ext"_s));
    if (!extensions.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw std::runtime_error("cannot write the certificate's extensions");
    extensions.write("subjectAltName=" + (kind + host).toUtf8() + "\nextendedKeyUsage=serverAuth\n");
    extensions.close();

    openssl(QStringList{u"req"_s, u"-subj"_s, u"/CN=Throw-away server"_s, u"-keyout"_s, path(u"server.key"_s),
                        u"-out"_s, path(u"server.csr"_s)} +
            newKey);
    openssl({u"x509"_s, u"-req"_s, u"-in"_s, path(u"server.csr"_s), u"-CA"_s, path(u"ca.pem"_s), u"-CAkey"_s,
             path(u"ca.key"_s), u"-CAcreateserial"_s, u"-days"_s, QString::number(days), u"-extfile"_s,
             path(u"server.ext"_s), u"-out"_s, path(u"server.pem"_s)});

    QSslConfiguration configuration;
    configuration.setLocalCertificate(QSslCertificate(contents(path(u"server.pem"_s))));
    configuration.setPrivateKey(QSslKey(contents(path(u"server.key"_s)), QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

} // namespace quillora::test
