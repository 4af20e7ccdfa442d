#include "platform/linux/models/ModelManifest.h"

#include "platform/linux/models/JsonFields.h"
#include "platform/linux/models/SafePath.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 knownForm = 1;

qint64 modificationTime(const QFileInfo &file) { return file.lastModified().toMSecsSinceEpoch(); }

ModelManifest::File file(const QJsonObject &object) {
    JsonFields fields(object, u"The manifest"_s);
    ModelManifest::File result{.name = fields.text(u"name"_s),
                               .size = fields.count(u"size"_s),
                               .modified = fields.count(u"modified"_s),
                               .sha256 = fields.checksum(u"sha256"_s)};
    fields.expectNoMore();
    if (safePath(result.name) != result.name || result.sha256.isEmpty())
        throw ModelFault(u"The manifest names a file that cannot be."_s);
    return result;
}

} // namespace

ModelManifest ModelManifest::of(const QString &folder, const QString &id, const QString &version,
                                const Checksums &known, const IsUnwanted &isUnwanted) {
    ModelManifest manifest{id, version, {}};
    const QDir root(folder);
    QDirIterator found(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (found.hasNext()) {
        const QFileInfo info(found.next());
        const QString name = root.relativeFilePath(info.filePath());
        const auto checksum = known.constFind(name);
        manifest.files += {name, info.size(), modificationTime(info),
                           checksum == known.cend() ? checksumOf(info.filePath(), isUnwanted) : *checksum};
    }
    std::sort(manifest.files.begin(), manifest.files.end(),
              [](const File &a, const File &b) { return a.name < b.name; });
    return manifest;
}

ModelManifest ModelManifest::fromJson(const QByteArray &json) {
    JsonFields fields(QJsonDocument::fromJson(json).object(), u"The manifest"_s);
    if (fields.size(u"form"_s) != knownForm)
        throw ModelFault(u"The manifest does not parse, or is of a form that is not known here."_s);
    ModelManifest manifest{fields.text(u"id"_s), fields.text(u"version"_s), {}};
    for (const auto &one : fields.array(u"files"_s))
        manifest.files += file(one.toObject());
    fields.expectNoMore();
    if (!isFolderName(manifest.id) || !isFolderName(manifest.version) || manifest.files.isEmpty())
        throw ModelFault(u"The manifest does not say what it is of."_s);
    return manifest;
}

QByteArray ModelManifest::toJson() const {
    QJsonArray array;
    for (const File &file : files)
        array += QJsonObject{{u"name"_s, file.name},
                             {u"size"_s, file.size},
                             {u"modified"_s, file.modified},
                             {u"sha256"_s, QString::fromLatin1(file.sha256)}};
    return QJsonDocument(
               {{u"form"_s, knownForm}, {u"id"_s, id}, {u"version"_s, version}, {u"files"_s, array}})
        .toJson();
}

ModelManifest::Glance ModelManifest::glance(const QString &folder) const {
    auto result = Glance::same;
    for (const File &file : files) {
        const QFileInfo info(folder + u'/' + file.name);
        if (info.isSymLink() || !info.isFile() || info.size() != file.size)
            return Glance::damaged;
        if (modificationTime(info) != file.modified)
            result = Glance::touched;
    }
    return result;
}

QList<qint64> ModelManifest::times(const QString &folder) const {
    QList<qint64> times;
    for (const File &file : files)
        times += modificationTime(QFileInfo(folder + u'/' + file.name));
    return times;
}

QString ModelManifest::fault(const QString &folder, const IsUnwanted &isUnwanted) const {
    for (const File &file : files) {
        try {
            if (checksumOf(folder + u'/' + file.name, isUnwanted) != file.sha256)
                return u"\"%1\" is not as it was installed."_s.arg(file.name);
        } catch (const ModelFault &fault) {
            return fault.errorDescription();
        }
    }
    return {};
}

} // namespace quillora::platform
