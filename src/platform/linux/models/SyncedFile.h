#pragma once

#include <QByteArrayView>
#include <QFile>
#include <QString>

namespace quillora::platform {

/// Writes all of it, however little the disk takes at a time; false if it takes no more.
bool writeAll(QFile &file, QByteArrayView bytes);

/// A new file, which is whole on the disk once it is finished. Whatever goes wrong is a ModelFault with the
/// system's reason. One that is dropped before stays as it is.
class SyncedFile {
public:
    /// Nothing may be there; folders above it are made.
    explicit SyncedFile(const QString &path);

    void write(QByteArrayView bytes);
    void finish();

private:
    [[noreturn]] void fail() const;

    QFile m_file;
};

/// Brings to the disk what was written to a file by others.
void syncFile(const QString &path);

/// Brings to the disk which files a folder holds.
void syncFolder(const QString &path);

/// The same for a folder, its folders and theirs.
void syncFolders(const QString &path);

} // namespace quillora::platform
