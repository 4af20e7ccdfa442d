#pragma once

#include <QByteArray>
#include <QList>

#include <archive.h>
#include <archive_entry.h>
#include <stdexcept>

namespace quillora::test {

/// One entry of an archive, well-behaved or not.
struct PackedEntry {
    enum class Kind { file, folder, symlink, hardlink, device, pipe };

    QByteArray path;
    QByteArray contents = {}; ///< of a link its target
    Kind kind = Kind::file;
};

enum class PackedFormat { tar, tarBzip2, tarGzip, zip };

/// An archive with exactly these entries.
inline QByteArray packed(const QList<PackedEntry> &entries, PackedFormat format = PackedFormat::tarBzip2) {
    archive *writer = archive_write_new();
    if (format == PackedFormat::zip)
        archive_write_set_format_zip(writer);
    else
        archive_write_set_format_gnutar(writer);
    if (format == PackedFormat::tarBzip2)
        archive_write_add_filter_bzip2(writer);
    if (format == PackedFormat::tarGzip)
        archive_write_add_filter_gzip(writer);
    qsizetype size = 1 << 16;
    for (const auto &entry : entries)
        size += entry.contents.size() + 4096;
    QByteArray result(size, '\0');
    std::size_t used = 0;
    archive_write_open_memory(writer, result.data(), static_cast<std::size_t>(size), &used);
    for (const auto &one : entries) {
        archive_entry *entry = archive_entry_new();
        archive_entry_copy_pathname(entry, one.path.constData());
        archive_entry_set_perm(entry, 0644);
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_size(entry, 0);
        switch (one.kind) {
        case PackedEntry::Kind::file:
            archive_entry_set_size(entry, one.contents.size());
            break;
        case PackedEntry::Kind::folder:
            archive_entry_set_filetype(entry, AE_IFDIR);
            break;
        case PackedEntry::Kind::symlink:
            archive_entry_set_filetype(entry, AE_IFLNK);
            archive_entry_copy_symlink(entry, one.contents.constData());
            break;
        case PackedEntry::Kind::hardlink:
            archive_entry_copy_hardlink(entry, one.contents.constData());
            break;
        case PackedEntry::Kind::device:
            archive_entry_set_filetype(entry, AE_IFCHR);
            archive_entry_set_rdevmajor(entry, 1);
            archive_entry_set_rdevminor(entry, 3);
            break;
        case PackedEntry::Kind::pipe:
            archive_entry_set_filetype(entry, AE_IFIFO);
            break;
        }
        if (archive_write_header(writer, entry) < ARCHIVE_WARN)
            throw std::runtime_error(archive_error_string(writer));
        if (one.kind == PackedEntry::Kind::file)
            archive_write_data(writer, one.contents.constData(),
                               static_cast<std::size_t>(one.contents.size()));
        archive_entry_free(entry);
    }
    archive_write_close(writer);
    archive_write_free(writer);
    result.truncate(static_cast<qsizetype>(used));
    return result;
}

/// A gzip file of the contents.
inline QByteArray gzipped(const QByteArray &contents) {
    archive *writer = archive_write_new();
    archive_write_set_format_raw(writer);
    archive_write_add_filter_gzip(writer);
    QByteArray result(contents.size() + (1 << 16), '\0');
    std::size_t used = 0;
    archive_write_open_memory(writer, result.data(), static_cast<std::size_t>(result.size()), &used);
    archive_entry *entry = archive_entry_new();
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_write_header(writer, entry);
    archive_write_data(writer, contents.constData(), static_cast<std::size_t>(contents.size()));
    archive_entry_free(entry);
    archive_write_close(writer);
    archive_write_free(writer);
    result.truncate(static_cast<qsizetype>(used));
    return result;
}

} // namespace quillora::test
