#pragma once

#include "platform/MainQueue.h"
#include "platform/linux/http/SystemProxies.h"
#include "platform/linux/models/Mirrors.h"
#include "platform/linux/models/ModelFault.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QSslError>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QNetworkReply;

namespace quillora::platform {

/// How long a server may take, and how often it is asked again.
struct DownloadPatience {
    std::chrono::milliseconds silence{30000};
    std::chrono::milliseconds firstPause{1000}; ///< before it is asked again; doubled from time to time
    std::chrono::milliseconds longestPause{600000};
    int mostFailures = 5;   ///< in a row, without a byte between them
    int unreachedTimes = 3; ///< that in a row nobody was reached before that is said
};

/// What downloads stand on. All of it outlives them; queue and proxies are those of their thread.
struct DownloadGround {
    MainQueue &queue;
    SystemProxies &proxies;
    const Mirrors &mirrors;
    DownloadPatience patience = {};
};

/// One file on its way to the disk, over HTTPS alone. It goes on where an earlier download of the same
/// address ended, if the server still has the same; asks again after what may pass; ends itself at the first
/// byte too many. The checksum is not its business. It belongs to the thread that makes it, which is its
/// queue's.
///
/// Destroying it breaks it off; what has come stays, beside a note of what it is. What came whole is not
/// asked for again.
class Download : public QObject {
    Q_OBJECT

public:
    struct Listener {
        /// From the event loop, once; it may destroy the download.
        std::function<void(const std::optional<ModelFault> &)> ended;
        /// Once the server has said how much comes of a file whose size was not known, and before any of that
        /// is written. A ModelFault that it throws ends the download.
        std::function<void()> sized = [] {};
    };

    /// The file stands at `path` when it has ended well.
    Download(ModelFile file, QString path, const DownloadGround &ground, Listener listener);
    ~Download() override;

    void start();

    /// What came to that path was not what was wanted: the next download there begins anew.
    static void forget(const QString &path);

    /// How large what came of that file is, if all of it did.
    static std::optional<qint64> broughtSize(const ModelFile &file, const QString &path);

    qint64 receivedBytes() const { return m_received; }
    std::optional<qint64> totalBytes() const { return m_total; }

    /// Why nobody can be reached, though it is tried again; a sentence, empty otherwise.
    const QString &obstacle() const { return m_obstacle; }

private:
    void resumeEarlier();
    void startOver();
    void startAgain();
    void ask();
    void send(const QNetworkProxy &proxy);
    void judgeHead();
    void beginFile();
    void continueFile();
    void takeBody();
    void receive();
    void finish();
    void breakOff();
    void follow();
    void complete();
    void writeNote();
    void tryAgain(const ModelFault &fault, std::chrono::milliseconds atLeast = {});
    void end(const std::optional<ModelFault> &fault);
    void dropReply();
    ModelFault transportFault() const;
    ModelFault writeFault() const;

    const ModelFile m_file;
    const QString m_path;
    const DownloadGround m_ground;
    const Listener m_listener;
    QUrl m_url;
    QFile m_part;
    QByteArray m_tag; ///< the server's name for what the part is of
    qint64 m_received = 0;
    std::optional<qint64> m_total;
    QNetworkAccessManager m_network;
    QNetworkProxy m_proxy;
    QNetworkReply *m_reply = nullptr;
    QList<QSslError> m_tlsErrors;
    std::shared_ptr<WorkItem> m_pause;
    int m_redirects = 0;
    int m_failures = 0;
    int m_unreachedTimes = 0; ///< in a row
    QString m_obstacle;
    bool m_takesBody = false;
    bool m_isWhole = false;
    bool m_isOver = false;
};

} // namespace quillora::platform
