#include "platform/linux/http/HttpExchange.h"

#include "platform/linux/http/TransportError.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <utility>

namespace quillora::platform {

namespace {

constexpr qsizetype longestBody = 1024 * 1024;
constexpr int mostRedirects = 5;

int effectivePort(const QUrl &url) { return url.port(url.scheme() == u"https" ? 443 : 80); }

bool isSameOrigin(const QUrl &a, const QUrl &b) {
    return a.scheme() == b.scheme() && a.host() == b.host() && effectivePort(a) == effectivePort(b);
}

/// Whether a status asks for the same request, body and all, at another address. The older ones (301, 302,
/// 303) turn a POST into a GET, which nobody wants here.
bool repeatsRequestElsewhere(int status) { return status == 307 || status == 308; }

/// Whether no valid answer came, as opposed to one with a status that Qt calls an error too.
bool isTransportFailure(QNetworkReply::NetworkError error) {
    return (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied) ||
           error == QNetworkReply::ContentReSendError || error == QNetworkReply::ProtocolFailure;
}

QNetworkRequest networkRequest(const HttpRequest &request) {
    QNetworkRequest result(request.url);
    // Where Qt would speak for us, it would tell the user's locale, call itself a browser and inflate answers
    // beyond the size that was sent.
    result.setRawHeader("User-Agent", "Quillora");
    result.setRawHeader("Accept-Language", "en");
    result.setRawHeader("Accept-Encoding", "identity");
    for (const auto &[name, value] : request.headers)
        result.setRawHeader(name, value);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    return result;
}

} // namespace

HttpExchange::HttpExchange(QNetworkAccessManager &network, MainQueue &queue, HttpRequest request,
                           std::chrono::milliseconds totalTime, Continuation<HttpResponse> waiter,
                           QObject *parent)
    : QObject(parent), m_network(network), m_queue(queue), m_request(std::move(request)),
      m_waiter(std::move(waiter)) {
    m_totalDeadline = m_queue.asyncAfter(
        totalTime, [this, totalTime] { fail(TransportError::slowness(m_request.url, totalTime)); });
    send();
}

HttpExchange::~HttpExchange() {
    if (m_reply)
        fail(TransportError::sessionEnded());
}

void HttpExchange::send() {
    m_reply = m_network.sendCustomRequest(networkRequest(m_request), m_request.method, m_request.body);
    m_reply->setReadBufferSize(longestBody);
    connect(m_reply, &QNetworkReply::uploadProgress, this, &HttpExchange::restartSilenceDeadline);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &HttpExchange::restartSilenceDeadline);
    connect(m_reply, &QNetworkReply::readyRead, this, &HttpExchange::receive);
    connect(m_reply, &QNetworkReply::sslErrors, this,
            [this](const QList<QSslError> &errors) { m_tlsErrors = errors; });
    connect(m_reply, &QNetworkReply::finished, this, &HttpExchange::finish);
    restartSilenceDeadline();
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
    if (!m_reply)
        return;
    const auto error = m_reply->error();
    const auto status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (error == QNetworkReply::ProtocolFailure && !status.isValid())
        succeed({.isHttp = false, .statusCode = 0, .body = {}});
    else if (isTransportFailure(error))
        fail(TransportError::network(m_request.url, error, m_tlsErrors));
    else if (!followsRedirect())
        succeed({.isHttp = true, .statusCode = status.toInt(), .body = m_body});
}

bool HttpExchange::followsRedirect() {
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (!repeatsRequestElsewhere(status) || !m_reply->hasRawHeader("Location"))
        return false;
    const auto location = QUrl::fromEncoded(m_reply->rawHeader("Location"), QUrl::StrictMode);
    const QUrl target = m_request.url.resolved(location);
    // The headers and the text were meant for the origin that the user typed, and for no other.
    if (!location.isValid() || !isSameOrigin(m_request.url, target))
        return false;
    if (++m_redirectCount > mostRedirects) {
        fail(TransportError::tooManyRedirects(m_request.url));
        return true;
    }
    dropReply();
    m_request.url = target;
    m_body.clear();
    send();
    return true;
}

void HttpExchange::succeed(HttpResponse response) {
    m_waiter.resume(std::move(response));
    end();
}

void HttpExchange::fail(const TransportError &error) {
    m_waiter.fail(std::make_exception_ptr(error));
    end();
}

void HttpExchange::end() {
    m_silenceDeadline->cancel();
    m_totalDeadline->cancel();
    dropReply();
    deleteLater();
}

void HttpExchange::dropReply() {
    m_reply->disconnect(this);
    m_reply->abort();
    m_reply->deleteLater();
    m_reply = nullptr;
}

} // namespace quillora::platform
