#include "support/RawHttpServer.h"

#include <QSslSocket>

#include <algorithm>
#include <stdexcept>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

constexpr QByteArrayView headEnd("\r\n\r\n");

qsizetype announcedBodySize(const QByteArray &head) {
    for (const QByteArray &line : head.split('\n')) {
        if (line.toLower().startsWith("content-length:"))
            return line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
    }
    return 0;
}

/// The size of the complete request at the start of `bytes`, or 0.
qsizetype completeRequestSize(const QByteArray &bytes) {
    const auto end = bytes.indexOf(headEnd);
    if (end < 0)
        return 0;
    const auto size = end + headEnd.size() + announcedBodySize(bytes.left(end));
    return bytes.size() >= size ? size : 0;
}

void resetConnection(QSslSocket *socket) {
    const linger noLinger{1, 0};
    ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &noLinger,
                 sizeof noLinger);
    socket->abort();
}

} // namespace

RawHttpServer::RawHttpServer(const std::optional<QSslConfiguration> &tls) : m_listener(*this), m_tls(tls) {
    if (!m_listener.listen(QHostAddress::LocalHost))
        throw std::runtime_error("cannot listen on loopback");
}

RawHttpServer::~RawHttpServer() {
    for (QSslSocket *socket : m_listener.findChildren<QSslSocket *>())
        socket->disconnect(this);
}

QUrl RawHttpServer::url(const QString &path, const QString &host) const {
    QUrl url;
    url.setScheme(m_tls ? u"https"_s : u"http"_s);
    url.setHost(host);
    url.setPort(port());
    url.setPath(path);
    return url;
}

void RawHttpServer::answer(const QByteArray &bytes, After after) { m_answers.append({bytes, after}); }

void RawHttpServer::answerHeld(qsizetype number, const QByteArray &bytes) {
    m_answered = m_requesters[number];
    send(bytes);
}

QByteArray RawHttpServer::response(int status, const QByteArray &body, const QByteArray &headerLines) {
    return "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n" + headerLines +
           "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

void RawHttpServer::send(const QByteArray &bytes) {
    m_answered->write(bytes);
    m_answered->flush();
}

void RawHttpServer::close() { m_answered->disconnectFromHost(); }

void RawHttpServer::reset() { resetConnection(m_answered); }

void RawHttpServer::sendToAll(const QByteArray &bytes) {
    for (QSslSocket *socket : m_listener.findChildren<QSslSocket *>()) {
        socket->write(bytes);
        socket->flush();
    }
}

void RawHttpServer::closeAll() {
    for (QSslSocket *socket : m_listener.findChildren<QSslSocket *>())
        socket->disconnectFromHost();
}

void RawHttpServer::hangUp() {
    for (QSslSocket *socket : m_listener.findChildren<QSslSocket *>())
        ::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR);
}

int RawHttpServer::openConnectionCount() const {
    const auto sockets = m_listener.findChildren<QSslSocket *>();
    return static_cast<int>(std::count_if(sockets.cbegin(), sockets.cend(), [](const QSslSocket *socket) {
        return socket->state() == QAbstractSocket::ConnectedState;
    }));
}

void RawHttpServer::accept(qintptr descriptor) {
    auto *socket = new QSslSocket(&m_listener);
    socket->setSocketDescriptor(descriptor);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1); // what is sent arrives at once
    ++m_connectionCount;
    connect(socket, &QSslSocket::readyRead, this, [this, socket] { receive(socket); });
    if (!m_tls)
        return;
    connect(socket, &QSslSocket::encrypted, this, [this, socket] {
        ++m_handshakeCount;
        m_negotiatedProtocol = socket->sslConfiguration().nextNegotiatedProtocol();
    });
    socket->setSslConfiguration(*m_tls);
    socket->startServerEncryption();
}

void RawHttpServer::receive(QSslSocket *socket) {
    const QByteArray bytes = socket->readAll();
    m_received += bytes;
    QByteArray &pending = m_incomplete[socket];
    pending += bytes;
    while (const auto size = completeRequestSize(pending)) {
        m_requests.append(pending.left(size));
        m_requesters.append(socket);
        pending.remove(0, size);
        reply(socket);
    }
    m_broughtByteCounts[socket] += bytes.size();
    if (m_breakOff && m_broughtByteCounts[socket] >= m_breakOff->afterBytes)
        leave(socket, m_breakOff->after);
}

void RawHttpServer::reply(QSslSocket *socket) {
    m_answered = socket;
    if (m_answers.isEmpty())
        return;
    const auto [bytes, after] = m_answers.takeFirst();
    send(bytes);
    leave(socket, after);
}

void RawHttpServer::leave(QSslSocket *socket, After after) {
    if (after == After::close)
        socket->disconnectFromHost();
    else if (after == After::reset)
        resetConnection(socket);
}

QByteArray RawHttpServer::head(const QByteArray &request) { return request.left(request.indexOf(headEnd)); }

QByteArray RawHttpServer::body(const QByteArray &request) {
    return request.mid(request.indexOf(headEnd) + headEnd.size());
}

QList<QByteArray> RawHttpServer::headerLines(const QByteArray &request) {
    QList<QByteArray> lines = head(request).split('\n').mid(1);
    for (QByteArray &line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
    }
    return lines;
}

QList<QByteArray> RawHttpServer::headerLines(const QByteArray &request, const QByteArray &name) {
    QList<QByteArray> lines = headerLines(request);
    lines.removeIf([&](const QByteArray &line) { return !line.startsWith(name + ':'); });
    return lines;
}

} // namespace quillora::test
