#include "platform/linux/models/ModelFolders.h"

#include "platform/ModelVersion.h"
#include "platform/linux/models/SafePath.h"
#include "platform/linux/models/SyncedFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 longestManifest = qint64{4} << 20;
constexpr qint64 longestRemark = 1000;
const auto hiddenFolders = QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot;

std::optional<ModelManifest> manifestOf(const InstalledModel &model) {
    QFile file(model.folder + u"/manifest.json"_s);
    if (!file.open(QIODevice::ReadOnly) || file.size() > longestManifest)
        return {};
    try {
        auto manifest = ModelManifest::fromJson(file.readAll());
        if (manifest.id == model.id && manifest.version == model.version)
            return manifest;
    } catch (const ModelFault &) {
        return {};
    }
    return {};
}

QString remarkFile(const InstalledModel &model) { return model.folder + u"/remark.txt"_s; }

QString remarkOn(const InstalledModel &model) {
    QFile file(remarkFile(model));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(longestRemark)).simplified()
                                          : QString();
}

void rename(const QString &from, const QString &to, unsigned flags) {
    if (::renameat2(AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD,
                    QFile::encodeName(to).constData(), flags) != 0)
        throw ModelFault(
            u"\"%1\" could not be moved: %2."_s.arg(QFileInfo(from).fileName(), qt_error_string()));
}

/// Whether the file system refuses to let two folders change places, rather than these two.
bool cannotExchange(int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; }

void removeFolder(const QString &path) { QDir(path).removeRecursively(); }

} // namespace

std::unique_ptr<FolderHold> FolderHold::of(const QString &folder, Kind kind) {
    const QByteArray path = QFile::encodeName(folder);
    const int descriptor = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    auto hold = std::make_unique<FolderHold>();
    hold->m_folder.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    if (::flock(descriptor, (kind == Kind::alone ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0)
        return nullptr;
    // It may have been moved away, and replaced, before it was held.
    struct stat held{}, there{};
    if (::fstat(descriptor, &held) != 0 || ::stat(path.constData(), &there) != 0 ||
        held.st_ino != there.st_ino || held.st_dev != there.st_dev)
        return nullptr;
    return hold;
}

ModelFolders ModelFolders::standard() {
    QStringList roots;
    for (const QString &folder : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        roots += folder + u"/Quillora/models"_s;
    const QString own = roots.takeFirst();
    return {own, roots};
}

QStringList ModelFolders::ids() const {
    QStringList ids;
    for (const QString &root : roots()) {
        for (const QString &id : QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (isFolderName(id) && !ids.contains(id))
                ids += id;
        }
    }
    return ids;
}

QList<InstalledModel> ModelFolders::installed(const QString &id) const {
    QList<InstalledModel> found;
    for (const QString &root : roots()) {
        for (const QFileInfo &folder :
             QDir(root + u'/' + id).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks)) {
            if (!isFolderName(folder.fileName()))
                continue;
            found += InstalledModel{folder.filePath(), root == m_own, id, folder.fileName(), {}, {}};
            found.last().manifest = manifestOf(found.last());
            found.last().remark = remarkOn(found.last());
        }
    }
    std::sort(found.begin(), found.end(), [](const InstalledModel &a, const InstalledModel &b) {
        if (a.version != b.version)
            return isNewer(a.version, b.version);
        return a.isOwn && !b.isOwn;
    });
    return found;
}

QList<qint64> ModelFolders::changes(const QString &id) const {
    QList<qint64> changes;
    for (const QString &root : roots()) {
        struct stat folder{};
        const bool isThere = ::stat(QFile::encodeName(root + u'/' + id).constData(), &folder) == 0;
        changes += isThere ? folder.st_mtim.tv_sec * 1'000'000'000 + folder.st_mtim.tv_nsec : -1;
    }
    return changes;
}

bool ModelFolders::hasParts(const QString &id) const {
    const QDir folder(folderOf(id));
    for (const QString &name : folder.entryList({u".*.parts"_s}, hiddenFolders)) {
        // Parts have numbers; beside them lie notes and the index.
        const auto parts = QDir(folder.filePath(name)).entryInfoList(QDir::Files);
        if (std::any_of(parts.begin(), parts.end(), [](const QFileInfo &part) {
                return part.size() > 0 && part.suffix().isEmpty() && part.fileName() != u"index";
            }))
            return true;
    }
    return false;
}

QString ModelFolders::partsFolder(const QString &id, const QString &version) const {
    return folderOf(id) + u"/."_s + version + u".parts"_s;
}

QString ModelFolders::newFolder(const QString &id, const QString &version) const {
    return folderOf(id) + u"/."_s + version + u".new"_s;
}

std::unique_ptr<FolderHold> ModelFolders::lock(const QString &id) const {
    if (!QDir().mkpath(folderOf(id)) || !QFileInfo(folderOf(id)).isWritable())
        throw ModelFault(u"The folder \"%1\" cannot be written to."_s.arg(m_own));
    // A removal holds it for a moment; an installation, for longer than is worth waiting for.
    auto hold = FolderHold::of(folderOf(id), FolderHold::Kind::alone);
    for (int attempt = 0; !hold && attempt < 10; ++attempt) {
        QThread::msleep(10);
        QDir().mkpath(folderOf(id));
        hold = FolderHold::of(folderOf(id), FolderHold::Kind::alone);
    }
    return hold;
}

bool ModelFolders::publish(const QString &id, const QString &version, const Checksums &known,
                           const IsUnwanted &isUnwanted) const {
    const QString made = newFolder(id, version);
    const QString target = folderOf(id) + u'/' + version;
    const bool isReplacement = QFileInfo::exists(target);
    const auto hold = isReplacement ? FolderHold::of(target, FolderHold::Kind::alone) : nullptr;
    if (isReplacement && !hold)
        return false;

    QFile::remove(made + u"/manifest.json"_s);
    SyncedFile manifest(made + u"/manifest.json"_s);
    manifest.write(ModelManifest::of(made + u"/files"_s, id, version, known, isUnwanted).toJson());
    manifest.finish();
    syncFolders(made);
    Interruption::ifUnwanted(isUnwanted);

    if (!isReplacement) {
        rename(made, target, RENAME_NOREPLACE);
    } else if (::renameat2(AT_FDCWD, QFile::encodeName(made).constData(), AT_FDCWD,
                           QFile::encodeName(target).constData(), RENAME_EXCHANGE) != 0) {
        if (!cannotExchange(errno))
            throw ModelFault(u"\"%1\" could not be replaced: %2."_s.arg(version, qt_error_string()));
        removeFolder(target);
        rename(made, target, 0);
    }
    syncFolder(folderOf(id));
    removeFolder(made);
    return true;
}

/// It is away as a whole, or still there.
void ModelFolders::removeAtOnce(const QString &id, const QString &folder) const {
    const QString away = folderOf(id) + u"/.removed-"_s + QUuid::createUuid().toString(QUuid::Id128);
    rename(folder, away, RENAME_NOREPLACE);
    syncFolder(folderOf(id));
    removeFolder(away);
}

void ModelFolders::keepRemark(const InstalledModel &model, const QString &remark) const {
    if (!model.isOwn || remark == model.remark)
        return;
    if (remark.isEmpty()) {
        QFile::remove(remarkFile(model));
        return;
    }
    QSaveFile file(remarkFile(model));
    if (file.open(QIODevice::WriteOnly) && file.write(remark.toUtf8()) >= 0)
        file.commit();
}

bool ModelFolders::remove(const InstalledModel &model) const {
    const auto hold = FolderHold::of(model.folder, FolderHold::Kind::alone);
    if (!hold)
        return !QFileInfo::exists(model.folder);
    removeAtOnce(model.id, model.folder);
    if (const auto nobodyInstalls = FolderHold::of(folderOf(model.id), FolderHold::Kind::alone))
        QDir().rmdir(folderOf(model.id)); // if nothing else is in it
    return true;
}

void ModelFolders::removeParts(const QString &id) const { removeOtherParts(id, {}); }

void ModelFolders::removeOtherParts(const QString &id, const QString &version) const {
    const QDir folder(folderOf(id));
    for (const QString &name : folder.entryList({u".*.parts"_s}, hiddenFolders)) {
        if (version.isEmpty() || folder.filePath(name) != partsFolder(id, version))
            removeAtOnce(id, folder.filePath(name));
    }
}

QStringList ModelFolders::remains(const QString &id) const {
    return QDir(folderOf(id)).entryList({u".*.new"_s, u".removed-*"_s}, hiddenFolders);
}

void ModelFolders::removeRemains(const QString &id) const {
    for (const QString &name : remains(id))
        removeFolder(folderOf(id) + u'/' + name);
}

} // namespace quillora::platform
