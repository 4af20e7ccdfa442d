#pragma once

#include <QByteArray>
#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>

namespace quillora::test {

/// A proxy on loopback that leads every tunnel it is asked for to one port here, whatever name it is asked
/// for.
class TunnelProxy : public QTcpServer {
public:
    explicit TunnelProxy(quint16 port) {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this,
                [this, port] { accept(nextPendingConnection(), port); });
    }

    QByteArray address() const { return "http://127.0.0.1:" + QByteArray::number(serverPort()); }

    /// What was asked for, with its head.
    QList<QByteArray> requests;

    /// What was sent through, in both directions.
    QByteArray sent;

private:
    void accept(QTcpSocket *client, quint16 port) {
        auto *server = new QTcpSocket(client);
        connect(client, &QTcpSocket::readyRead, this, [=, this] {
            if (server->state() != QTcpSocket::UnconnectedState) {
                relay(*client, *server);
                return;
            }
            if (!client->peek(4096).contains("\r\n\r\n"))
                return;
            requests += client->readAll();
            server->connectToHost(QHostAddress::LocalHost, port);
            client->write("HTTP/1.1 200 Connection established\r\n\r\n");
        });
        connect(server, &QTcpSocket::readyRead, this, [=, this] { relay(*server, *client); });
        connect(client, &QTcpSocket::disconnected, server, &QTcpSocket::disconnectFromHost);
        connect(server, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
    }

    void relay(QTcpSocket &from, QTcpSocket &to) {
        const QByteArray bytes = from.readAll();
        sent += bytes;
        to.write(bytes);
    }
};

} // namespace quillora::test
