#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>
#include <QUrl>

#include <memory>
#include <optional>

namespace quillora::test {

/// An HTTP server on loopback that plays the bytes it was given and keeps the bytes it got, well-formed or
/// not. It lives in the event loop of its thread.
class RawHttpServer : public QObject {
    Q_OBJECT

public:
    /// What becomes of the connection once an answer is sent.
    enum class After { keepOpen, close, reset };

    /// Speaks TLS where it is given a configuration with a certificate and its key.
    explicit RawHttpServer(const std::optional<QSslConfiguration> &tls = {});
    ~RawHttpServer() override;

    quint16 port() const { return m_listener.serverPort(); }

    /// An address of this server, under the name 127.0.0.1 or localhost.
    QUrl url(const QString &path = QStringLiteral("/v1/translate"),
             const QString &host = QStringLiteral("127.0.0.1")) const;

    /// Sent when the next request without an answer is complete. Requests that find none get nothing.
    void answer(const QByteArray &bytes, After after = After::keepOpen);

    /// Closes or resets each connection once it has brought so many bytes, whatever they are.
    void breakOff(qsizetype afterBytes, After after) { m_breakOff = {afterBytes, after}; }

    /// Answers a request that found no answer, counted from 0 among all requests.
    void answerHeld(qsizetype number, const QByteArray &bytes);

    /// A whole answer: status line, length and body, and the given header lines, each ended by CR LF.
    static QByteArray response(int status, const QByteArray &body, const QByteArray &headerLines = {});

    /// More bytes on the connection that was answered last.
    void send(const QByteArray &bytes);
    void close();
    void reset();

    /// Sends on every connection, asked for something or not; closes every connection.
    void sendToAll(const QByteArray &bytes);
    void closeAll();

    /// Says on every connection that nothing more will come, as a server does that closes it for idleness; it
    /// is open until the other end has left too.
    void hangUp();

    /// Complete requests, byte for byte, in the order of their arrival.
    const QList<QByteArray> &requests() const { return m_requests; }

    /// What arrived on all connections, complete or not.
    const QByteArray &received() const { return m_received; }

    int connectionCount() const { return m_connectionCount; }

    /// Those that neither end has left.
    int openConnectionCount() const;

    /// How many connections have finished their TLS handshake, and what the last one is to speak; empty if
    /// that was left open.
    int handshakeCount() const { return m_handshakeCount; }
    QByteArray negotiatedProtocol() const { return m_negotiatedProtocol; }

    /// The request without its body, and its body.
    static QByteArray head(const QByteArray &request);
    static QByteArray body(const QByteArray &request);

    /// The header lines; those whose name is `name`, spelt exactly so.
    static QList<QByteArray> headerLines(const QByteArray &request);
    static QList<QByteArray> headerLines(const QByteArray &request, const QByteArray &name);

private:
    struct Answer {
        QByteArray bytes;
        After after;
    };

    struct BreakOff {
        qsizetype afterBytes;
        After after;
    };

    class Listener : public QTcpServer {
    public:
        explicit Listener(RawHttpServer &server) : m_server(server) {}
        void incomingConnection(qintptr descriptor) override { m_server.accept(descriptor); }

    private:
        RawHttpServer &m_server;
    };

    void accept(qintptr descriptor);
    void receive(QSslSocket *socket);
    void reply(QSslSocket *socket);
    static void leave(QSslSocket *socket, After after);

    Listener m_listener;
    std::optional<QSslConfiguration> m_tls;
    QList<Answer> m_answers;
    std::optional<BreakOff> m_breakOff;
    QHash<QSslSocket *, QByteArray> m_incomplete;
    QHash<QSslSocket *, qsizetype> m_broughtByteCounts;
    QList<QByteArray> m_requests;
    QByteArray m_received;
    QByteArray m_negotiatedProtocol;
    QList<QSslSocket *> m_requesters; ///< as m_requests
    QSslSocket *m_answered = nullptr;
    int m_connectionCount = 0;
    int m_handshakeCount = 0;
};

} // namespace quillora::test
