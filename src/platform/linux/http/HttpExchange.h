#pragma once

#include "platform/Continuation.h"
#include "platform/HttpSession.h"
#include "platform/MainQueue.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QSslError>

#include <chrono>
#include <memory>

class QNetworkReply;

namespace quillora::platform {

class TransportError;

/// One request on its way, through its redirects, until its waiter is resumed; then it deletes itself.
/// Destroying it earlier aborts the transfer and fails the waiter. Main thread only.
class HttpExchange : public QObject {
    Q_OBJECT

public:
    /// Begins at once. `network` and `queue` outlive it. Everything must be over after `totalTime`.
    HttpExchange(QNetworkAccessManager &network, MainQueue &queue, HttpRequest request,
                 std::chrono::milliseconds totalTime, Continuation<HttpResponse> waiter, QObject *parent);
    ~HttpExchange() override;

private:
    void send();
    void restartSilenceDeadline();
    void receive();
    void finish();
    bool followsRedirect();

    void succeed(HttpResponse response);
    void fail(const TransportError &error);
    void end();
    void dropReply();

    QNetworkAccessManager &m_network;
    MainQueue &m_queue;
    HttpRequest m_request;
    Continuation<HttpResponse> m_waiter;
    QNetworkReply *m_reply = nullptr; ///< ours until it is dropped; none once the waiter is resumed
    QList<QSslError> m_tlsErrors;
    QByteArray m_body;
    int m_redirectCount = 0;
    std::shared_ptr<WorkItem> m_silenceDeadline;
    std::shared_ptr<WorkItem> m_totalDeadline;
};

} // namespace quillora::platform
