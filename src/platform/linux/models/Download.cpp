#include "platform/linux/models/Download.h"

#include "platform/linux/FetchableAddress.h"
#include "platform/linux/http/AnonymousRequest.h"
#include "platform/linux/http/ReplyHead.h"
#include "platform/linux/http/TransportError.h"
#include "platform/linux/models/RetryAfter.h"
#include "platform/linux/models/SyncedFile.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QPointer>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 portion = qint64{1} << 20;
constexpr int mostRedirects = 5;
constexpr qint64 longestFile = qint64{8} << 30; ///< where nobody tells its size

/// As it is where there is no network, or nobody at that address.
bool isUnreached(QNetworkReply::NetworkError error) {
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError: // no route
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyNotFoundError:
        return true;
    default:
        return false;
    }
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool mayPass(int status) { return status == 408 || status == 429 || status >= 500; }

/// The tag of an answer, if it promises the same bytes.
QByteArray strongTag(const QNetworkReply &reply) {
    const QByteArray tag = reply.rawHeader("ETag");
    return tag.startsWith('"') ? tag : QByteArray();
}

struct Range {
    qint64 first = -1;
    qint64 total = -1;
};

Range rangeOf(const QNetworkReply &reply) {
    static const QRegularExpression pattern(u"\\Abytes ([0-9]{1,15})-[0-9]{1,15}/([0-9]{1,15})\\z"_s);
    const auto match = pattern.match(QString::fromLatin1(reply.rawHeader("Content-Range").trimmed()));
    if (!match.hasMatch())
        return {};
    return {match.captured(1).toLongLong(), match.captured(2).toLongLong()};
}

std::optional<qint64> lengthOf(const QNetworkReply &reply) {
    const auto length = reply.header(QNetworkRequest::ContentLengthHeader);
    return length.isValid() ? std::optional(length.toLongLong()) : std::nullopt;
}

/// What is known of the part at that path, so that it can be gone on with.
QString noteOf(const QString &path) { return path + u".note"_s; }

/// What the note says, if it is of the same address.
QJsonObject noted(const ModelFile &file, const QString &path) {
    QFile note(noteOf(path));
    if (!note.open(QIODevice::ReadOnly))
        return {};
    const auto fields = QJsonDocument::fromJson(note.read(portion)).object();
    return fields.value(u"address"_s).toString() == file.address.toString() ? fields : QJsonObject();
}

ModelFault wrongLength(const QUrl &url, qint64 expected) {
    return ModelFault(
        u"What %1 sends is not %2 bytes long, as it should be."_s.arg(url.host()).arg(expected));
}

} // namespace

Download::Download(ModelFile file, QString path, const DownloadGround &ground, Listener listener)
    : m_file(std::move(file)), m_path(std::move(path)), m_ground(ground), m_listener(std::move(listener)),
      m_url(ground.mirrors.routed(m_file.address)), m_part(m_path), m_total(m_file.size) {}

Download::~Download() {
    if (m_pause)
        m_pause->cancel();
    dropReply();
}

void Download::start() {
    if (!m_part.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        end(writeFault());
        return;
    }
    resumeEarlier();
    if (m_isWhole)
        complete();
    else
        ask();
}

void Download::forget(const QString &path) {
    QFile::remove(path);
    QFile::remove(noteOf(path));
}

std::optional<qint64> Download::broughtSize(const ModelFile &file, const QString &path) {
    const qint64 size = QFileInfo(path).size();
    const bool isWhole = noted(file, path).value(u"whole"_s).toBool();
    return isWhole && size == file.size.value_or(size) ? std::optional(size) : std::nullopt;
}

/// Takes up what came of the same address earlier, as far as it can be told from anything else.
void Download::resumeEarlier() {
    m_tag = noted(m_file, m_path).value(u"tag"_s).toString().toLatin1();
    m_isWhole = broughtSize(m_file, m_path).has_value();
    if (m_tag.isEmpty() && !m_isWhole)
        startOver();
    else
        m_received = m_part.size();
    m_part.seek(m_received);
}

void Download::startOver() {
    m_tag.clear();
    m_received = 0;
    m_total = m_file.size;
    m_part.resize(0);
    m_part.seek(0);
    QFile::remove(noteOf(m_path));
}

/// What is here is of something else by now.
void Download::startAgain() {
    startOver();
    tryAgain(ModelFault(u"What %1 sends has changed meanwhile."_s.arg(m_url.host())));
}

void Download::ask() {
    m_ground.proxies.find(m_url, [self = QPointer(this)](const SystemProxies::Result &found) {
        if (!self || self->m_isOver)
            return;
        if (const auto *error = std::get_if<TransportError>(&found))
            self->tryAgain(ModelFault(error->errorDescription()));
        else
            self->send(std::get<QNetworkProxy>(found));
    });
}

void Download::send(const QNetworkProxy &proxy) {
    QNetworkRequest request = anonymousRequest(m_url);
    m_ground.mirrors.trust(request);
    request.setTransferTimeout(static_cast<int>(m_ground.patience.silence.count()));
    if (m_received > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(m_received) + '-');
        request.setRawHeader("If-Range", m_tag);
    }
    m_proxy = proxy;
    m_network.setProxy(proxy);
    m_tlsErrors.clear();
    m_takesBody = false;
    m_reply = m_network.get(request);
    m_reply->setReadBufferSize(portion);
    connect(m_reply, &QNetworkReply::sslErrors, this,
            [this](const QList<QSslError> &errors) { m_tlsErrors = errors; });
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &Download::judgeHead);
    connect(m_reply, &QNetworkReply::readyRead, this, &Download::receive);
    connect(m_reply, &QNetworkReply::finished, this, &Download::finish);
}

void Download::judgeHead() {
    m_unreachedTimes = 0;
    m_obstacle.clear();
    if (m_takesBody)
        return;
    if (statusOf(*m_reply) == 200)
        beginFile();
    else if (statusOf(*m_reply) == 206 && m_received > 0)
        continueFile();
}

void Download::beginFile() {
    startOver();
    const auto length = lengthOf(*m_reply);
    if (m_file.size && length && *length != *m_file.size) {
        end(wrongLength(m_url, *m_file.size));
        return;
    }
    if (!m_file.size)
        m_total = length;
    if (!m_total && m_file.sha256.isEmpty() && m_file.contentSha256.isEmpty()) {
        end(ModelFault(u"%1 does not say how much it sends."_s.arg(m_url.host())));
        return;
    }
    m_tag = strongTag(*m_reply);
    if (!m_tag.isEmpty())
        writeNote();
    takeBody();
}

void Download::continueFile() {
    const auto range = rangeOf(*m_reply);
    const QByteArray tag = strongTag(*m_reply);
    const bool isTheRest = range.first == m_received && (!m_file.size || range.total == *m_file.size) &&
                           (tag.isEmpty() || tag == m_tag);
    if (!isTheRest) {
        startAgain();
        return;
    }
    m_total = range.total;
    takeBody();
}

void Download::takeBody() {
    m_takesBody = true;
    if (m_file.size || !m_total)
        return;
    try {
        m_listener.sized();
    } catch (const ModelFault &fault) {
        end(fault);
    }
}

void Download::receive() {
    if (!m_takesBody) {
        if (m_reply->bytesAvailable() > 0)
            m_reply->skip(portion);
        return;
    }
    while (m_reply->bytesAvailable() > 0) {
        const QByteArray bytes = m_reply->read(portion);
        if (m_received + bytes.size() > m_total.value_or(longestFile)) {
            startOver();
            end(wrongLength(m_url, m_total.value_or(longestFile)));
            return;
        }
        if (!writeAll(m_part, bytes)) {
            end(writeFault());
            return;
        }
        m_received += bytes.size();
        m_failures = 0;
    }
}

void Download::finish() {
    receive();
    if (m_isOver || !m_reply)
        return;
    const int status = statusOf(*m_reply);
    if (m_takesBody && m_reply->error() == QNetworkReply::NoError &&
        m_received == m_total.value_or(m_received))
        complete();
    else if (m_takesBody || status == 0)
        breakOff();
    else if (isRedirect(status))
        follow();
    else if (status == 416 && m_received > 0) {
        startAgain();
    } else {
        const ModelFault fault(u"%1 answered with the error %2."_s.arg(m_url.host()).arg(status));
        mayPass(status)
            ? tryAgain(fault, retryAfter(m_reply->rawHeader("Retry-After"), QDateTime::currentDateTimeUtc()))
            : end(fault);
    }
}

void Download::breakOff() {
    const ModelFault fault = transportFault();
    const auto error = m_reply->error();
    m_unreachedTimes = isUnreached(error) ? m_unreachedTimes + 1 : 0;
    const bool isOffline = m_unreachedTimes >= m_ground.patience.unreachedTimes;
    m_obstacle = isOffline ? fault.errorDescription() : QString();
    error == QNetworkReply::SslHandshakeFailedError ? end(fault) : tryAgain(fault);
}

void Download::follow() {
    const QUrl target = locationOf(*m_reply, m_url);
    if (!isFetchable(target)) {
        end(ModelFault(u"%1 redirects to an address that is not safe."_s.arg(m_url.host())));
    } else if (++m_redirects > mostRedirects) {
        end(ModelFault(TransportError::tooManyRedirects(m_url).errorDescription()));
    } else {
        dropReply();
        m_url = target;
        ask();
    }
}

void Download::complete() {
    m_part.close();
    m_total = m_received;
    m_isWhole = true;
    writeNote();
    end({});
}

/// Without it, what came is not gone on with.
void Download::writeNote() {
    QSaveFile note(noteOf(m_path));
    if (!note.open(QIODevice::WriteOnly))
        return;
    note.write(QJsonDocument(QJsonObject{{u"address"_s, m_file.address.toString()},
                                         {u"tag"_s, QString::fromLatin1(m_tag)},
                                         {u"whole"_s, m_isWhole}})
                   .toJson());
    note.commit();
}

/// Begins anew at the publisher's address after a pause: where it redirected to may be valid for a while
/// only.
void Download::tryAgain(const ModelFault &fault, std::chrono::milliseconds atLeast) {
    dropReply();
    if (++m_failures > m_ground.patience.mostFailures) {
        end(fault);
        return;
    }
    const auto pause = std::max(atLeast, m_ground.patience.firstPause * (1 << (m_failures - 1)));
    m_url = m_ground.mirrors.routed(m_file.address);
    m_redirects = 0;
    if (m_tag.isEmpty())
        startOver();
    m_pause = m_ground.queue.asyncAfter(std::min(pause, m_ground.patience.longestPause), [this] { ask(); });
}

void Download::end(const std::optional<ModelFault> &fault) {
    m_isOver = true;
    dropReply();
    m_ground.queue.async([self = QPointer(this), fault] {
        if (!self)
            return;
        const auto ended = self->m_listener.ended; // outlives the download
        ended(fault);
    });
}

void Download::dropReply() {
    if (!m_reply)
        return;
    // Its destruction aborts the transfer.
    m_reply->disconnect(this);
    m_reply->deleteLater();
    m_reply = nullptr;
}

ModelFault Download::transportFault() const {
    if (m_reply->error() == QNetworkReply::OperationCanceledError)
        return ModelFault(TransportError::silence(m_url, m_ground.patience.silence).errorDescription());
    if (m_takesBody && m_reply->error() == QNetworkReply::NoError)
        return ModelFault(TransportError::network(m_url, m_proxy, QNetworkReply::RemoteHostClosedError, {})
                              .errorDescription());
    return ModelFault(
        TransportError::network(m_url, m_proxy, m_reply->error(), m_tlsErrors).errorDescription());
}

ModelFault Download::writeFault() const {
    return ModelFault(u"\"%1\" could not be written: %2."_s.arg(m_file.name, m_part.errorString()));
}

} // namespace quillora::platform
