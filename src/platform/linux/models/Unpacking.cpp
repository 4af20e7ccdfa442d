#include "platform/linux/models/Unpacking.h"

#include "platform/linux/models/SafePath.h"
#include "platform/linux/models/SyncedFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <memory>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr std::size_t blockSize = std::size_t{64} * 1024;
constexpr qint64 smallestBound = qint64{1} << 20;

/// A packed file that is being read, and the bounds of what comes out of it.
class Packed {
public:
    enum class Kind { archive, gzip };

    Packed(Kind kind, const QString &path, const UnpackingLimits &limits)
        : m_mostEntries(limits.mostEntries),
          m_mostBytes(std::min(limits.mostBytes,
                               std::max(smallestBound, limits.mostTimesItsSize * QFileInfo(path).size()))),
          m_archive(archive_read_new()) {
        archive_read_support_filter_gzip(m_archive.get());
        if (kind == Kind::gzip) {
            archive_read_support_format_raw(m_archive.get());
        } else {
            archive_read_support_filter_bzip2(m_archive.get());
            archive_read_support_filter_xz(m_archive.get());
            archive_read_support_filter_zstd(m_archive.get());
            archive_read_support_format_tar(m_archive.get());
            archive_read_support_format_zip(m_archive.get());
        }
        if (archive_read_open_filename(m_archive.get(), QFile::encodeName(path).constData(), blockSize) !=
            ARCHIVE_OK)
            throw damaged();
    }

    /// The next entry; none at the end.
    archive_entry *next() {
        archive_entry *entry = nullptr;
        const int result = archive_read_next_header(m_archive.get(), &entry);
        if (result == ARCHIVE_EOF)
            return nullptr;
        // A warning is about a name that the process's character set does not have.
        if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
            throw damaged();
        if (++m_entryCount > m_mostEntries)
            throw fault(u"it holds too many files"_s);
        return entry;
    }

    /// The rest of the entry; returns its checksum.
    QByteArray copyData(SyncedFile &file, const IsUnwanted &isUnwanted) {
        Sha256 hash;
        for (;;) {
            Interruption::ifUnwanted(isUnwanted);
            const auto count = archive_read_data(m_archive.get(), m_block.data(), blockSize);
            if (count < 0)
                throw damaged();
            if (count == 0)
                return hash.result();
            m_byteCount += count;
            if (m_byteCount > m_mostBytes)
                throw fault(u"what it holds is larger than it may be"_s);
            const QByteArrayView bytes(m_block.constData(), count);
            file.write(bytes);
            hash.add(bytes);
        }
    }

    bool isGzip() const { return archive_filter_code(m_archive.get(), 0) == ARCHIVE_FILTER_GZIP; }

    static ModelFault fault(const QString &reason) {
        return ModelFault(u"What was downloaded cannot be unpacked: %1."_s.arg(reason));
    }
    static ModelFault damaged() { return fault(u"it is damaged"_s); }

private:
    struct Free {
        void operator()(archive *one) const { archive_read_free(one); }
    };

    const int m_mostEntries;
    const qint64 m_mostBytes;
    const std::unique_ptr<archive, Free> m_archive;
    QByteArray m_block{static_cast<qsizetype>(blockSize), Qt::Uninitialized};
    int m_entryCount = 0;
    qint64 m_byteCount = 0;
};

/// What an archive has claimed until now: names are judged by how some file system reads them.
class Claims {
public:
    /// Whether a file may have the path.
    bool file(const QString &path) {
        for (auto slash = path.indexOf(u'/'); slash >= 0; slash = path.indexOf(u'/', slash + 1)) {
            if (!folder(path.left(slash)))
                return false;
        }
        const QString key = twinKey(path);
        if (m_files.contains(key) || m_folders.contains(key))
            return false;
        m_files.insert(key);
        return true;
    }

    /// Whether a folder may have it. One folder may be named again, in the same spelling.
    bool folder(const QString &path) {
        const QString key = twinKey(path);
        if (m_files.contains(key))
            return false;
        const auto known = m_folders.constFind(key);
        if (known != m_folders.cend())
            return *known == path;
        m_folders.insert(key, path);
        return true;
    }

    bool hasFiles() const { return !m_files.isEmpty(); }

private:
    QSet<QString> m_files;
    QHash<QString, QString> m_folders;
};

QString pathOf(archive_entry *entry) {
    if (const char *utf8 = archive_entry_pathname_utf8(entry))
        return QString::fromUtf8(utf8);
    return QString::fromUtf8(archive_entry_pathname(entry));
}

/// The folder that the archive stands for itself, which some archives name.
bool isTheFolderItself(const QString &path) { return path == u"." || path == u"./"; }

} // namespace

Checksums unpackArchive(const QString &archive, const QString &folder, const UnpackingLimits &limits,
                        const IsUnwanted &isUnwanted) {
    Packed packed(Packed::Kind::archive, archive, limits);
    Claims claims;
    Checksums checksums;
    while (auto *entry = packed.next()) {
        QString claimed = pathOf(entry);
        if (archive_entry_hardlink(entry) || archive_entry_symlink(entry))
            throw packed.fault(u"it holds a link"_s);
        const auto type = archive_entry_filetype(entry);
        if (type == AE_IFDIR) {
            if (isTheFolderItself(claimed))
                continue;
            if (claimed.endsWith(u'/'))
                claimed.chop(1);
        } else if (type != AE_IFREG) {
            throw packed.fault(u"it holds something that is no file"_s);
        }
        const QString path = safePath(claimed);
        if (path.isNull())
            throw packed.fault(u"a name in it leads out of its folder, or is none"_s);
        if (!(type == AE_IFDIR ? claims.folder(path) : claims.file(path)))
            throw packed.fault(u"two names in it mean the same file"_s);
        if (type == AE_IFDIR)
            continue;
        SyncedFile file(folder + u'/' + path);
        checksums[path] = packed.copyData(file, isUnwanted);
        file.finish();
    }
    if (!claims.hasFiles())
        throw packed.fault(u"it holds no files"_s);
    return checksums;
}

QByteArray unpackGzip(const QString &path, const QString &target, const UnpackingLimits &limits,
                      const IsUnwanted &isUnwanted) {
    Packed packed(Packed::Kind::gzip, path, limits);
    if (!packed.next() || !packed.isGzip())
        throw packed.damaged();
    SyncedFile file(target);
    QByteArray checksum = packed.copyData(file, isUnwanted);
    file.finish();
    return checksum;
}

} // namespace quillora::platform
