#pragma once

#include "support/ChildProcess.h"
#include "support/Delivery.h"
#include "support/RawHttpServer.h"

#include <QHash>
#include <QJsonObject>
#include <QStringList>

#include <functional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A publisher of models over HTTPS. It answers each request by its path, whenever `serve` is called.
class ModelServer {
public:
    explicit ModelServer(const QSslConfiguration &identity) : m_server(identity) {}

    /// From now on, requests that wait included.
    Delivery delivery = Delivery::everything;

    QHash<QString, QByteArray> files; ///< by the path
    QStringList silent;               ///< paths; who asks for one now never gets an answer

    RawHttpServer &http() { return m_server; }

    /// Serves the contents under the path; what a catalog says of such a file.
    QJsonObject publish(const QString &name, const QString &path, const QByteArray &contents) {
        files[path] = contents;
        return {{u"name"_s, name}, {u"address"_s, m_server.url(path).toString()}};
    }

    void serve() {
        for (; delivery != Delivery::nothing && m_answered < m_server.requests().size(); ++m_answered) {
            if (const QString path = pathOf(m_answered); !silent.contains(path))
                m_server.answerHeld(m_answered, answer(path));
        }
    }

    /// Serves until it is so; false if it is not within half a minute.
    bool waitUntil(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(
            [&] {
                serve();
                return condition();
            },
            30000);
    }

    qsizetype requestCount(const QString &path) const {
        qsizetype count = 0;
        for (qsizetype request = 0; request < m_server.requests().size(); ++request)
            count += pathOf(request) == path;
        return count;
    }

private:
    QString pathOf(qsizetype request) const {
        return QString::fromLatin1(m_server.requests()[request].split(' ').value(1));
    }

    QByteArray answer(const QString &path) const {
        if (delivery == Delivery::refusal || !files.contains(path))
            return RawHttpServer::response(404, "");
        const QByteArray whole = RawHttpServer::response(200, files[path], "ETag: \"1\"\r\n");
        return delivery == Delivery::part ? whole.chopped((files[path].size() + 1) / 2) : whole;
    }

    RawHttpServer m_server;
    qsizetype m_answered = 0;
};

} // namespace quillora::test
