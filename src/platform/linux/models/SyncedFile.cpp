#include "platform/linux/models/SyncedFile.h"

#include "platform/linux/models/ModelFault.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace quillora::platform {

namespace {

ModelFault unwritable(const QString &path, const QString &reason) {
    return ModelFault(u"\"%1\" could not be written: %2."_qs.arg(QFileInfo(path).fileName(), reason));
}

} // namespace

SyncedFile::SyncedFile(const QString &path) : m_file(path) {
    if (!QDir().mkpath(QFileInfo(path).path()) ||
        !m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail();
}

void SyncedFile::write(QByteArrayView bytes) {
    if (m_file.write(bytes.data(), bytes.size()) != bytes.size())
        fail();
}

void SyncedFile::finish() {
    if (::fsync(m_file.handle()) != 0)
        throw unwritable(m_file.fileName(), qt_error_string());
    m_file.close();
}

void SyncedFile::fail() const { throw unwritable(m_file.fileName(), m_file.errorString()); }

void syncFolder(const QString &path) {
    const int folder = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = folder >= 0 && ::fsync(folder) == 0;
    const QString reason = qt_error_string();
    if (folder >= 0)
        ::close(folder);
    if (!isSynced)
        throw unwritable(path, reason);
}

void syncFolders(const QString &path) {
    QDirIterator folders(path, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                         QDirIterator::Subdirectories);
    while (folders.hasNext())
        syncFolder(folders.next());
    syncFolder(path);
}

} // namespace quillora::platform
