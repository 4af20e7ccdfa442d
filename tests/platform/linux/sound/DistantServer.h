#pragma once

#include "platform/AudioBuffer.h"

#include <QByteArray>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QtEndian>

#include <memory>
#include <set>
#include <string>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A sound server whose sources have a greater latency than those of the server behind it, as those of
/// headsets have: all that is recorded comes later, and the server says so. It speaks PulseAudio's protocol.
class DistantServer {
public:
    /// `format` is that of all recordings.
    DistantServer(const std::string &server, int latencyMs, const platform::AudioFormat &format)
        : m_server(QString::fromStdString(server).remove(u"unix:"_s)), m_latencyMs(latencyMs),
          m_latencyBytes(qint64(format.sampleRate) * format.channelCount * qint64{sizeof(qint16)} *
                         latencyMs / 1000) {
        m_listener.moveToThread(&m_thread);
        m_thread.start();
        onThread([this] {
            m_listener.listen(path());
            QObject::connect(&m_listener, &QLocalServer::newConnection, &m_listener,
                             [this] { join(m_listener.nextPendingConnection()); });
        });
    }
    ~DistantServer() {
        onThread([this] {
            m_listener.close();
            qDeleteAll(m_listener.children());
        });
        m_thread.quit();
        m_thread.wait();
    }

    std::string address() const { return "unix:" + path().toStdString(); }

private:
    QString path() const { return m_folder.filePath(u"native"_s); }

    template <typename Work>
    void onThread(Work work) {
        QMetaObject::invokeMethod(&m_listener, work, Qt::BlockingQueuedConnection);
    }

    /// Calls `take` with each whole packet that has come.
    template <typename Take>
    static void readPackets(QLocalSocket *socket, Take take) {
        const auto unfinished = std::make_shared<QByteArray>();
        const auto read = [=] {
            *unfinished += socket->readAll();
            while (unfinished->size() >= headerSize) {
                const auto size = headerSize + qsizetype(qFromBigEndian<quint32>(unfinished->constData()));
                if (unfinished->size() < size)
                    break;
                take(unfinished->left(size));
                unfinished->remove(0, size);
            }
        };
        QObject::connect(socket, &QLocalSocket::readyRead, socket, read);
        read();
    }

    void join(QLocalSocket *client) {
        auto *server = new QLocalSocket(client);
        server->connectToServer(m_server);
        server->waitForConnected();
        QObject::connect(server, &QLocalSocket::disconnected, client, &QLocalSocket::disconnectFromServer);
        QObject::connect(client, &QLocalSocket::disconnected, server, &QLocalSocket::disconnectFromServer);
        const auto latencyQueries = std::make_shared<std::set<quint32>>();
        readPackets(client, [=](const QByteArray &packet) {
            if (!isSound(packet) && number(packet, command) == getRecordLatency)
                latencyQueries->insert(number(packet, tag));
            server->write(packet);
        });
        readPackets(server, [=, this](const QByteArray &packet) {
            if (isSound(packet))
                QTimer::singleShot(m_latencyMs, Qt::PreciseTimer, client,
                                   [client, packet] { client->write(packet); });
            else if (number(packet, command) == reply && latencyQueries->erase(number(packet, tag)))
                client->write(withLatency(packet));
            else
                client->write(packet);
        });
    }

    static quint32 number(const QByteArray &packet, qsizetype place) {
        return packet.size() < place + 4 ? 0 : qFromBigEndian<quint32>(packet.constData() + place);
    }
    static bool isSound(const QByteArray &packet) { return number(packet, 4) != controlChannel; }

    QByteArray withLatency(QByteArray packet) const {
        const auto add = [&packet](qsizetype place, qint64 difference) {
            auto *data = packet.data() + place;
            qToBigEndian(qFromBigEndian<qint64>(data) + difference, data);
        };
        add(sourceLatency, qint64{1000} * m_latencyMs);
        add(recordedBytes, -m_latencyBytes);
        return packet;
    }

    static constexpr qsizetype headerSize = 20;
    static constexpr quint32 controlChannel = 0xffffffff, reply = 2, getRecordLatency = 57;
    // Places in a packet; each value comes after a byte that tells its type.
    static constexpr qsizetype command = headerSize + 1, tag = headerSize + 6,
                               sourceLatency = headerSize + 20, recordedBytes = headerSize + 48;

    const QString m_server;
    const int m_latencyMs;
    const qint64 m_latencyBytes;
    const QTemporaryDir m_folder;
    QThread m_thread;
    QLocalServer m_listener;
};

} // namespace quillora::test
