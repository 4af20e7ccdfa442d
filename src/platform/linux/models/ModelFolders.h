#pragma once

#include "platform/linux/models/ModelManifest.h"

#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace quillora::platform {

/// A version of a model on the disk.
struct InstalledModel {
    QString folder; ///< holds the manifest, and the files in a folder of their own
    bool isOwn = false;
    QString id;
    QString version;
    std::optional<ModelManifest> manifest; ///< none if it cannot be read: the model is damaged then
    QString remark;                        ///< what was found out about it here; a sentence

    QString filesFolder() const { return folder + QStringLiteral("/files"); }
};

/// Keeps a folder where it is, against every process that asks: whoever wants to move it finds it in use.
class FolderHold {
public:
    enum class Kind { shared, alone };

    /// None if others hold it in a way that excludes this, or it is not there. Never waits.
    static std::unique_ptr<FolderHold> of(const QString &folder, Kind kind);

private:
    QFile m_folder;
};

/// Where models lie:
///
///     ROOT/ID/VERSION/manifest.json   what was installed; the folder appears with everything in it
///     ROOT/ID/VERSION/files/          the model's files
///     ROOT/ID/VERSION/remark.txt      what was found out about it on this computer, if anything was
///     ROOT/ID/.VERSION.parts/         what has been downloaded of it
///     ROOT/ID/.VERSION.new/           what is being made of that
///     ROOT/ID/.removed-NUMBER/        what is being removed
///
/// Whoever installs holds ROOT/ID alone, whoever uses a version holds its folder with others. Holds go with
/// the process, however it ends. One root is the user's own; the others are an administrator's, and only
/// read. Any thread; state is kept on the disk alone.
class ModelFolders {
public:
    ModelFolders(QString own, QStringList shared) : m_own(std::move(own)), m_shared(std::move(shared)) {}

    /// In the XDG data folders.
    static ModelFolders standard();

    const QString &own() const { return m_own; }

    /// Every model that is there, by its id.
    QStringList ids() const;

    /// The versions that are there, newest first, and of one version the user's own first.
    QList<InstalledModel> installed(const QString &id) const;

    /// When what the model's folders hold last changed: another answer means to look again.
    QList<qint64> changes(const QString &id) const;

    /// Whether something of an installation was left to go on with.
    bool hasParts(const QString &id) const;

    QString partsFolder(const QString &id, const QString &version) const;
    QString newFolder(const QString &id, const QString &version) const;

    /// For the process that installs the model; none if another one does, after a tenth of a second. Throws a
    /// ModelFault where the folder cannot be written to.
    std::unique_ptr<FolderHold> lock(const QString &id) const;

    /// Writes the manifest into the new folder, with the checksums of its files as far as they are known,
    /// brings everything to the disk and lets it appear as the version, in one step: what was there under its
    /// name goes. False if that is in use. The lock is held.
    bool publish(const QString &id, const QString &version, const Checksums &known,
                 const IsUnwanted &isUnwanted) const;

    /// Of the user's own copy, with which it goes. Where it cannot be written it is not kept.
    void keepRemark(const InstalledModel &model, const QString &remark) const;

    /// False if it is in use. Throws a ModelFault where it cannot be moved.
    bool remove(const InstalledModel &model) const;

    /// Removes what has been downloaded, all or what other versions left. The lock is held.
    void removeParts(const QString &id) const;
    void removeOtherParts(const QString &id, const QString &version) const;

    /// What a process left that ended in the middle of its work, save what was downloaded; or that one which
    /// is still at it needs. It is removed where the lock is held.
    QStringList remains(const QString &id) const;
    void removeRemains(const QString &id) const;

private:
    void removeAtOnce(const QString &id, const QString &folder) const;
    QStringList roots() const { return QStringList(m_own) + m_shared; }
    QString folderOf(const QString &id) const { return m_own + u'/' + id; }

    QString m_own;
    QStringList m_shared;
};

} // namespace quillora::platform
