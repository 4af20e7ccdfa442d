#pragma once

#include "platform/Continuation.h"
#include "platform/HttpSession.h"
#include "platform/MainQueue.h"

#include <QNetworkProxy>
#include <QObject>
#include <QSslError>

#include <chrono>
#include <memory>

class QNetworkReply;

namespace quillora::platform {

class HttpConnection;
class TransportError;

/// One request on its way, through its redirects, until its waiter is resumed; then it deletes itself.
/// Destroying it earlier aborts the transfer and fails the waiter. Main thread only.
class HttpExchange : public QObject {
    Q_OBJECT

public:
    /// Begins at once, over a connection that leads to the request's origin. Fails with a TransportError, at
    /// the latest after `totalTime`. `queue` outlives it.
    HttpExchange(std::unique_ptr<HttpConnection> connection, MainQueue &queue, HttpRequest request,
                 std::chrono::milliseconds totalTime, Continuation<HttpResponse> waiter, QObject *parent);
    ~HttpExchange() override;

private:
    void send();
    void restartSilenceDeadline();
    void receive();
    void finish();
    QUrl redirectTarget() const;
    void redirect(const QUrl &target);
    bool wasClosedWithoutAnswer() const;
    bool isTransportFailure() const;

    void succeed();
    void fail(const TransportError &error);
    void end();
    void dropReply();

    std::unique_ptr<HttpConnection> m_connection;
    MainQueue &m_queue;
    HttpRequest m_request;
    Continuation<HttpResponse> m_waiter;
    bool m_isOver = false; ///< the waiter has been resumed
    QNetworkProxy m_proxy;
    QNetworkReply *m_reply = nullptr; ///< ours until it is dropped
    QList<QSslError> m_tlsErrors;
    QByteArray m_body;
    int m_redirectCount = 0;
    std::shared_ptr<WorkItem> m_silenceDeadline; ///< none while a proxy is looked for
    std::shared_ptr<WorkItem> m_totalDeadline;
    std::shared_ptr<WorkItem> m_departure; ///< of a failed one
};

} // namespace quillora::platform
