#pragma once

#include "platform/ModelStore.h"
#include "platform/linux/models/Download.h"
#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/models/ModelFolders.h"
#include "platform/linux/models/TransferSpeed.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillora::platform {

/// One model on its way to its folder: index, files, checksums, unpacking, appearance, in this order. It
/// belongs to the thread that makes it, which is its queue's and is kept busy while it checks and unpacks.
///
/// Destroying it breaks it off. Where it is broken off or fails, what has been downloaded stays, for the next
/// one to go on with, and nothing else.
class ModelInstallation : public QObject {
    Q_OBJECT

public:
    struct Listener {
        /// At each new step, and ten times a second while something changes.
        std::function<void(const ModelProgress &)> progressed = [](const ModelProgress &) {};
        /// From the event loop, once, with the sentence that says why it failed, null if the model is there.
        /// It may destroy the installation. Not called where the work was not wanted any more.
        std::function<void(const QString &fault)> ended;
    };

    /// `isUnwanted` may be asked at any time; what it refers to outlives this. So do the folders.
    ModelInstallation(CatalogEntry entry, const ModelFolders &folders, const DownloadGround &ground,
                      IsUnwanted isUnwanted, Listener listener);
    ~ModelInstallation() override;

    void start();

private:
    void fetchIndex();
    void fetchFiles(const QList<ModelFile> &files);
    void fetchNext();
    void fetched(const std::optional<ModelFault> &fault);
    void checkAndUnpack();
    void bring(const ModelFile &file, const QString &downloaded);
    void appear();
    void requireSpace(qint64 bytes) const;
    qint64 spaceToDownload() const;
    qint64 spaceToUnpack(qint64 otherwise) const;
    void begin(ModelProgress::Step step);
    void tell();
    ModelProgress progress();
    void attempt(const std::function<void()> &work);
    void end(const QString &fault);
    void letGo();

    QString partsFolder() const;
    QString partPath(std::size_t number) const;
    QString newFilesFolder() const;

    const CatalogEntry m_entry;
    const ModelFolders &m_folders;
    const DownloadGround m_ground;
    const IsUnwanted m_isUnwanted;
    const Listener m_listener;
    std::unique_ptr<FolderHold> m_lock;
    std::unique_ptr<Download> m_indexDownload;
    QList<ModelFile> m_files;
    std::vector<std::unique_ptr<Download>> m_downloads; ///< as m_files, once begun
    std::size_t m_arrivedCount = 0;
    Checksums m_checksums; ///< of the files that the model is made of
    ModelProgress::Step m_step = ModelProgress::Step::preparing;
    ModelProgress m_told;
    QTimer m_telling;
    QElapsedTimer m_clock;
    TransferSpeed m_speed;
    qint64 m_bytesBefore = 0; ///< of an earlier attempt
    bool m_isOver = false;
};

} // namespace quillora::platform
