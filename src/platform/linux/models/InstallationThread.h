#pragma once

#include "platform/linux/models/ModelInstallation.h"

#include <QThread>

#include <atomic>
#include <functional>
#include <memory>

namespace quillora::platform {

/// A thread with an event loop, on which one model after the other is installed: it downloads, hashes and
/// unpacks, and nobody else waits meanwhile.
class InstallationThread {
public:
    using MakeProxies = std::function<std::unique_ptr<SystemProxies>(MainQueue &)>;

    /// What is on its way, until nobody wants it any more.
    using Flag = std::shared_ptr<std::atomic<bool>>;

    /// The folders outlive it.
    InstallationThread(const ModelFolders &folders, const QList<ModelMirror> &mirrors,
                       const DownloadPatience &patience, MakeProxies makeProxies);

    /// Breaks off what is on its way, and waits for that: for a portion of a file, or for the disk.
    ~InstallationThread();
    InstallationThread(const InstallationThread &) = delete;
    InstallationThread &operator=(const InstallationThread &) = delete;

    /// Begins with it once what was asked for before is over. The listener is told on the thread. Whoever
    /// does not want it any more sets the flag first, and then breaks it off.
    void install(const CatalogEntry &entry, const Flag &isUnwanted,
                 const ModelInstallation::Listener &listener);

    /// Breaks off what is on its way, and tells, on the thread. What came stays.
    void breakOff(const std::function<void()> &then);

    /// Removes what has been downloaded of the model, unless another process installs it, and tells, on the
    /// thread.
    void forget(const QString &id, const std::function<void()> &then);

    /// Removes what a process left of the model that ended in the middle of its work, unless another installs
    /// it.
    void tidyUp(const QString &id);

private:
    class Workshop;

    const ModelFolders &m_folders;
    Flag m_isUnwanted; ///< of the last one
    QThread m_thread;
    Workshop *m_workshop; ///< lives on the thread, and goes with it
};

} // namespace quillora::platform
