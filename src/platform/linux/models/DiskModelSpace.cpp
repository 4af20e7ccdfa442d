#include "platform/linux/models/DiskModelSpace.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStorageInfo>

namespace quillora::platform {

qint64 DiskModelSpace::used() const {
    qint64 bytes = 0;
    QDirIterator file(m_folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (file.hasNext()) {
        file.next();
        bytes += file.fileInfo().size();
    }
    return bytes;
}

/// Where the folder will be made, if it is not there yet.
std::optional<qint64> DiskModelSpace::free() const {
    QFileInfo place(m_folder);
    while (!place.exists() && !place.isRoot())
        place = QFileInfo(place.path());
    const QStorageInfo disk(place.filePath());
    if (!disk.isValid() || !disk.isReady())
        return {};
    return disk.bytesAvailable();
}

} // namespace quillora::platform
