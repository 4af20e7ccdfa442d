#include "platform/linux/models/SyncedFile.h"

#include "platform/linux/models/ModelFault.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

ModelFault unwritable(const QString &path, const QString &reason) {
    return ModelFault(u"\"%1\" could not be written: %2."_s.arg(QFileInfo(path).fileName(), reason));
}

void sync(const QString &path, int flags) {
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | flags);
    const bool isSynced = descriptor >= 0 && ::fsync(descriptor) == 0;
    const QString reason = qt_error_string();
    if (descriptor >= 0)
        ::close(descriptor);
    if (!isSynced)
        throw unwritable(path, reason);
}

} // namespace

bool writeAll(QFile &file, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const auto count = file.write(bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes = bytes.sliced(count);
    }
    return true;
}

SyncedFile::SyncedFile(const QString &path) : m_file(path) {
    if (!QDir().mkpath(QFileInfo(path).path()) ||
        !m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail();
}

void SyncedFile::write(QByteArrayView bytes) {
    if (!writeAll(m_file, bytes))
        fail();
}

void SyncedFile::finish() {
    if (::fsync(m_file.handle()) != 0)
        throw unwritable(m_file.fileName(), qt_error_string());
    m_file.close();
}

void SyncedFile::fail() const { throw unwritable(m_file.fileName(), m_file.errorString()); }

void syncFile(const QString &path) { sync(path, 0); }

void syncFolder(const QString &path) { sync(path, O_DIRECTORY); }

void syncFolders(const QString &path) {
    QDirIterator folders(path, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                         QDirIterator::Subdirectories);
    while (folders.hasNext())
        syncFolder(folders.next());
    syncFolder(path);
}

} // namespace quillora::platform
