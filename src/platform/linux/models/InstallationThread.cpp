#include "platform/linux/models/InstallationThread.h"

#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/BackgroundPriority.h"

#include <csignal>
#include <pthread.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Does it unless another process installs the model, or nobody can write there: what lies there stays then,
/// and is in nobody's way.
void removeWherePossible(const ModelFolders &folders, const QString &id, const std::function<void()> &work) {
    try {
        if (const auto lock = folders.lock(id))
            work();
    } catch (const ModelFault &) { // NOLINT(bugprone-empty-catch): see above
    }
}

} // namespace

/// What stands on the thread.
class InstallationThread::Workshop : public QObject {
public:
    Workshop(const ModelFolders &folders, QList<ModelMirror> mirrors, const DownloadPatience &patience,
             MakeProxies makeProxies)
        : m_folders(folders), m_mirrors(std::move(mirrors)), m_patience(patience),
          m_makeProxies(std::move(makeProxies)) {}

    void install(const CatalogEntry &entry, const Flag &isUnwanted,
                 const ModelInstallation::Listener &listener) {
        m_installation.reset();
        if (!m_ground)
            m_ground = std::make_unique<Ground>(m_mirrors, m_makeProxies);
        m_installation = std::make_unique<ModelInstallation>(
            entry, m_folders,
            DownloadGround{m_ground->queue, *m_ground->proxies, m_ground->mirrors, m_patience},
            [isUnwanted] { return isUnwanted->load(); },
            ModelInstallation::Listener{.progressed = listener.progressed,
                                        .ended = [this, ended = listener.ended](const QString &fault) {
                                            m_installation.reset();
                                            ended(fault);
                                        }});
        m_installation->start();
    }

    void breakOff() { m_installation.reset(); }

private:
    /// Made on the thread that it is for.
    struct Ground {
        Ground(const QList<ModelMirror> &where, const MakeProxies &makeProxies)
            : proxies(makeProxies(queue)), mirrors(where) {}

        LinuxMainQueue queue;
        std::unique_ptr<SystemProxies> proxies;
        Mirrors mirrors;
    };

    const ModelFolders &m_folders;
    const QList<ModelMirror> m_mirrors;
    const DownloadPatience m_patience;
    const MakeProxies m_makeProxies;
    std::unique_ptr<Ground> m_ground;
    std::unique_ptr<ModelInstallation> m_installation;
};

InstallationThread::InstallationThread(const ModelFolders &folders, const QList<ModelMirror> &mirrors,
                                       const DownloadPatience &patience, MakeProxies makeProxies)
    : m_folders(folders), m_workshop(new Workshop(folders, mirrors, patience, std::move(makeProxies))) {
    m_workshop->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::started, m_workshop, &giveWay);
    QObject::connect(&m_thread, &QThread::finished, m_workshop, &QObject::deleteLater);
    m_thread.setObjectName(u"model installer"_s);
    // The thread inherits that signals are the main thread's business.
    sigset_t all{}, before{};
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    m_thread.start();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

InstallationThread::~InstallationThread() {
    if (m_isUnwanted)
        *m_isUnwanted = true;
    m_thread.quit();
    m_thread.wait();
}

void InstallationThread::install(const CatalogEntry &entry, const Flag &isUnwanted,
                                 const ModelInstallation::Listener &listener) {
    m_isUnwanted = isUnwanted;
    QMetaObject::invokeMethod(
        m_workshop, [=, workshop = m_workshop] { workshop->install(entry, isUnwanted, listener); },
        Qt::QueuedConnection);
}

void InstallationThread::breakOff(const std::function<void()> &then) {
    QMetaObject::invokeMethod(
        m_workshop,
        [workshop = m_workshop, then] {
            workshop->breakOff();
            then();
        },
        Qt::QueuedConnection);
}

void InstallationThread::tidyUp(const QString &id) {
    QMetaObject::invokeMethod(
        m_workshop,
        [&folders = m_folders, id] { removeWherePossible(folders, id, [&] { folders.removeRemains(id); }); },
        Qt::QueuedConnection);
}

void InstallationThread::forget(const QString &id, const std::function<void()> &then) {
    QMetaObject::invokeMethod(
        m_workshop,
        [&folders = m_folders, id, then] {
            removeWherePossible(folders, id, [&] {
                folders.removeParts(id);
                folders.removeRemains(id);
            });
            then();
        },
        Qt::QueuedConnection);
}

} // namespace quillora::platform
