#include "platform/linux/http/HttpExchange.h"

#include "platform/linux/http/AnonymousRequest.h"
#include "platform/linux/http/HttpConnection.h"
#include "platform/linux/http/OneTimeBody.h"
#include "platform/linux/http/ReplyHead.h"
#include "platform/linux/http/TransportError.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <utility>

namespace quillora::platform {

namespace {

constexpr auto longestBody = qsizetype{1024} * 1024;
constexpr int mostRedirects = 5;

/// How long the toolkit's thread may be busy with what a server flooded it with. The end of the connection
/// would wait for it.
constexpr std::chrono::seconds longestAbort{10};

/// Whether a status asks for the same request, body and all, at another address. The older ones (301, 302,
/// 303) turn a POST into a GET, which nobody wants here.
bool repeatsRequestElsewhere(int status) { return status == 307 || status == 308; }

/// Any other answer ends with its connection.
bool saysWhereItEnds(const QNetworkReply &reply) {
    return reply.hasRawHeader("Content-Length") || reply.hasRawHeader("Transfer-Encoding");
}

QNetworkRequest networkRequest(const HttpRequest &request) {
    QNetworkRequest result = anonymousRequest(request.url);
    for (const auto &[name, value] : request.headers)
        result.setRawHeader(name, value);
    result.setHeader(QNetworkRequest::ContentLengthHeader, request.body.size());
    result.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    return result;
}

} // namespace

HttpExchange::HttpExchange(std::unique_ptr<HttpConnection> connection, MainQueue &queue, HttpRequest request,
                           std::chrono::milliseconds totalTime, Continuation<HttpResponse> waiter,
                           QObject *parent)
    : QObject(parent), m_connection(std::move(connection)), m_queue(queue), m_request(std::move(request)),
      m_waiter(std::move(waiter)) {
    m_totalDeadline = m_queue.asyncAfter(
        totalTime, [this, totalTime] { fail(TransportError::slowness(m_request.url, totalTime)); });
    m_connection->whenProxyIsKnown([this](const SystemProxies::Result &found) {
        if (m_isOver)
            return;
        if (const auto *error = std::get_if<TransportError>(&found)) {
            fail(*error);
            return;
        }
        m_proxy = std::get<QNetworkProxy>(found);
        restartSilenceDeadline();
        m_connection->whenReady([this] {
            if (!m_isOver)
                send();
        });
    });
}

HttpExchange::~HttpExchange() {
    if (!m_isOver)
        fail(TransportError::sessionEnded());
    if (m_departure)
        m_departure->cancel();
}

void HttpExchange::send() {
    m_body.clear();
    m_tlsErrors.clear();
    auto &network = m_connection->network();
    network.setProxy(m_proxy);
    auto *body = new OneTimeBody(m_request.body, this);
    m_reply = network.sendCustomRequest(networkRequest(m_request), m_request.method, body);
    body->setParent(m_reply);
    m_reply->setReadBufferSize(longestBody);
    connect(m_reply, &QNetworkReply::uploadProgress, this, &HttpExchange::restartSilenceDeadline);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &HttpExchange::restartSilenceDeadline);
    connect(m_reply, &QNetworkReply::readyRead, this, &HttpExchange::receive);
    connect(m_reply, &QNetworkReply::sslErrors, this,
            [this](const QList<QSslError> &errors) { m_tlsErrors = errors; });
    connect(m_reply, &QNetworkReply::finished, this, &HttpExchange::finish);
}

void HttpExchange::restartSilenceDeadline() {
    if (m_silenceDeadline)
        m_silenceDeadline->cancel();
    m_silenceDeadline = m_queue.asyncAfter(m_request.timeoutInterval, [this] {
        fail(TransportError::silence(m_request.url, m_request.timeoutInterval));
    });
}

void HttpExchange::receive() {
    restartSilenceDeadline();
    m_body += m_reply->read(longestBody + 1 - m_body.size());
    if (m_body.size() > longestBody)
        fail(TransportError::tooLong(m_request.url));
}

void HttpExchange::finish() {
    receive();
    if (m_isOver)
        return;
    if (wasClosedWithoutAnswer()) {
        fail(TransportError::noAnswer(m_request.url));
    } else if (isTransportFailure()) {
        fail(TransportError::network(m_request.url, m_proxy, m_reply->error(), m_tlsErrors));
    } else if (const QUrl target = redirectTarget(); !target.isEmpty()) {
        redirect(target);
    } else {
        succeed();
    }
}

bool HttpExchange::wasClosedWithoutAnswer() const {
    const auto error = m_reply->error();
    return statusOf(*m_reply) == 0 &&
           (error == QNetworkReply::RemoteHostClosedError || error == QNetworkReply::ContentReSendError);
}

/// Whether no whole answer came, as opposed to one with a status that Qt calls an error too.
bool HttpExchange::isTransportFailure() const {
    const auto error = m_reply->error();
    if (error == QNetworkReply::ProxyAuthenticationRequiredError)
        return m_proxy.type() != QNetworkProxy::NoProxy;
    // Qt would send the body again for a redirect, of which no more than the head matters, and in vain. It
    // also would where the connection of an answer is closed that began while the request was still on its
    // way, even if that is how the answer ends.
    if (error == QNetworkReply::ContentReSendError)
        return !repeatsRequestElsewhere(statusOf(*m_reply)) && saysWhereItEnds(*m_reply);
    return statusOf(*m_reply) == 0 || error == QNetworkReply::ProtocolFailure ||
           (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied);
}

/// Where to ask again; empty if this is the answer. The headers and the text were meant for the origin that
/// the user typed, and go to no other.
QUrl HttpExchange::redirectTarget() const {
    if (!repeatsRequestElsewhere(statusOf(*m_reply)))
        return {};
    const QUrl target = locationOf(*m_reply, m_request.url);
    return isSameOrigin(m_request.url, target) ? target : QUrl();
}

void HttpExchange::redirect(const QUrl &target) {
    if (++m_redirectCount > mostRedirects) {
        fail(TransportError::tooManyRedirects(m_request.url));
        return;
    }
    dropReply();
    m_request.url = target;
    send();
}

void HttpExchange::succeed() {
    m_waiter.resume({.isHttp = true, .statusCode = statusOf(*m_reply), .body = m_body});
    end();
    deleteLater();
}

void HttpExchange::fail(const TransportError &error) {
    m_waiter.fail(std::make_exception_ptr(error));
    end();
    m_departure = m_queue.asyncAfter(longestAbort, [this] { deleteLater(); });
}

void HttpExchange::end() {
    m_isOver = true;
    if (m_silenceDeadline)
        m_silenceDeadline->cancel();
    m_totalDeadline->cancel();
    dropReply();
}

void HttpExchange::dropReply() {
    if (!m_reply)
        return;
    // Its destruction aborts the transfer. An explicit abort of a reply that has an error already complains
    // to the log.
    m_reply->disconnect(this);
    m_reply->deleteLater();
    m_reply = nullptr;
}

} // namespace quillora::platform
