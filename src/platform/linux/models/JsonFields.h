#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace quillora::platform {

/// The fields of a JSON object that somebody else wrote. Each is asked for once, under the type it must have;
/// one that has another, or that nobody asked for, is a ModelFault that names it: a misspelt checksum must
/// not pass for none.
class JsonFields {
public:
    /// `what` names the object in sentences.
    JsonFields(QJsonObject object, QString what);

    bool has(const QString &name) const { return m_object.contains(name); }

    QString text(const QString &name); ///< must be there, and not empty
    QString textOr(const QString &name, const QString &otherwise);
    std::optional<bool> truth(const QString &name);
    std::optional<qint64> size(const QString &name); ///< a whole number above 0
    qint64 count(const QString &name);               ///< must be there; a whole number, not below 0
    std::optional<double> number(const QString &name);
    QStringList texts(const QString &name); ///< none of them empty
    QJsonArray array(const QString &name);
    QJsonObject object(const QString &name);

    /// Of a server that is asked over HTTPS, without a user's name or password.
    QUrl address(const QString &name);

    /// 64 hexadecimal digits, handed on in lower case; empty if it is not there.
    QByteArray checksum(const QString &name);

    /// To be called when nothing more will be asked for.
    void expectNoMore() const;

private:
    QJsonValue take(const QString &name);
    [[noreturn]] void refuse(const QString &name, const QString &fault) const;

    QJsonObject m_object;
    QString m_what;
    QStringList m_taken;
};

} // namespace quillora::platform
