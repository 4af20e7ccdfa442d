#pragma once

#include "platform/ModelStore.h"

#include <QByteArray>
#include <QList>
#include <QUrl>

#include <optional>

namespace quillora::platform {

/// How a file comes: as it is, as a single gzip file, or as an archive (tar or zip) of files.
enum class ModelPacking { none, gzip, archive };

/// A file of a model, where to get it and how to know it.
struct ModelFile {
    QString name; ///< below the model's folder; of an archive what it is called while it is downloaded
    QUrl address;
    ModelPacking packing = ModelPacking::none;
    // NOLINTBEGIN(readability-redundant-member-init): so that they may be left out
    std::optional<qint64> size = {}; ///< bytes that are sent
    QByteArray sha256 = {};          ///< of what is sent, in hexadecimal digits; empty if it is not known
    QByteArray contentSha256 = {};   ///< of a gzip file's contents; empty if it is not known
    // NOLINTEND(readability-redundant-member-init)

    bool operator==(const ModelFile &) const = default;
};

/// Where the publisher says which files a model has.
struct ModelIndex {
    enum class Form {
        checksums,   ///< a line for each file: its name, a tab, its SHA-256
        translations ///< JSON with the files of each pair of languages
    };

    Form form = Form::checksums;
    QUrl address;
    QUrl files;           ///< the address that the names of files are relative to
    QString name;         ///< the file, or the pair of languages as in "en-ru"
    QString architecture; ///< of a translation: which of the pair's models

    bool operator==(const ModelIndex &) const = default;
};

struct CatalogEntry {
    ModelDescription description;
    QList<ModelFile> files;          ///< empty if they stand in the index
    std::optional<ModelIndex> index; ///< empty if they stand here

    bool operator==(const CatalogEntry &) const = default;
};

/// Another place that has the same files.
struct ModelMirror {
    QUrl of;      ///< addresses that begin like this ...
    QUrl address; ///< ... begin like this instead
    QString
        authority; ///< file with the certificate of the authority that alone is trusted there; may be empty

    bool operator==(const ModelMirror &) const = default;
};

/// A catalog as it was found somewhere.
struct CatalogFile {
    QString path; ///< names it in sentences; a relative authority lies beside it
    QByteArray contents;
};

/// The models that exist: the program's own list, and what an administrator and the user add to it. Whatever
/// does not parse is left out and named; nothing throws.
class ModelCatalog {
public:
    /// The program's own, then /etc's and the user's, as far as they are there.
    static QList<CatalogFile> standardFiles();

    /// Later files override earlier ones, entry by entry and mirror by mirror. Of entries, those that one of
    /// the `engines` reads.
    ModelCatalog(const QList<CatalogFile> &files, const QStringList &engines);

    const QList<CatalogEntry> &entries() const { return m_entries; }
    const QList<ModelMirror> &mirrors() const { return m_mirrors; }

    /// A sentence for each thing that was left out.
    const QStringList &omissions() const { return m_omissions; }

    /// None if there is no such model.
    const CatalogEntry *find(const QString &id) const;

private:
    void read(const CatalogFile &file, const QStringList &engines);
    void add(const CatalogEntry &entry);
    void add(const ModelMirror &mirror);

    QList<CatalogEntry> m_entries;
    QList<ModelMirror> m_mirrors;
    QStringList m_omissions;
};

} // namespace quillora::platform
