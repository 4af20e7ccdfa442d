#include "platform/linux/models/PublisherIndex.h"

#include "platform/linux/models/Checksum.h"
#include "platform/linux/models/JsonFields.h"
#include "platform/linux/models/SafePath.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

bool isArchive(const QString &name) {
    static const QRegularExpression ending(u"\\.(tar(\\.(gz|bz2|xz|zst))?|tgz|zip)\\z"_s);
    return ending.match(name).hasMatch();
}

ModelPacking packingOf(const QString &name) {
    if (isArchive(name))
        return ModelPacking::archive;
    return name.endsWith(u".gz") ? ModelPacking::gzip : ModelPacking::none;
}

ModelFault malformed(const ModelIndex &index) {
    return ModelFault(u"The index at %1 is not of the form that is expected."_s.arg(index.address.host()));
}

ModelFault missing(const ModelIndex &index) {
    return ModelFault(u"The index at %1 does not name \"%2\"."_s.arg(index.address.host(), index.name));
}

/// A file of the publisher's under the address for files.
QUrl addressOf(const ModelIndex &index, const QString &path) {
    const QString safe = safePath(path);
    if (safe.isNull() || safe != path)
        throw malformed(index);
    QUrl url = index.files;
    url.setPath(url.path() + safe, QUrl::DecodedMode);
    return url;
}

QList<ModelFile> listedFile(const ModelIndex &index, const QByteArray &contents) {
    QByteArray found;
    for (const QByteArray &line : contents.split('\n')) {
        const auto tab = line.indexOf('\t');
        if (tab < 0 || QString::fromUtf8(line.left(tab)) != index.name)
            continue;
        const QByteArray checksum = line.mid(tab + 1).trimmed().toLower();
        if (!isSha256(checksum) || (!found.isEmpty() && found != checksum))
            throw malformed(index);
        found = checksum;
    }
    if (found.isEmpty())
        throw missing(index);
    return {{.name = index.name,
             .address = addressOf(index, index.name),
             .packing = packingOf(index.name),
             .sha256 = found}};
}

/// The published model of that architecture, or any if none is said to be released.
QJsonObject chosenModel(const ModelIndex &index, const QJsonValue &pair) {
    const QJsonArray models = pair.isArray() ? pair.toArray() : QJsonArray{pair};
    QJsonObject chosen;
    for (const auto &value : models) {
        const QJsonObject model = value.toObject();
        if (model.value(u"architecture"_s).toString() != index.architecture)
            continue;
        if (model.value(u"releaseStatus"_s).toString().startsWith(u"Release"))
            return model;
        if (chosen.isEmpty())
            chosen = model;
    }
    return chosen;
}

/// The file that the index describes by its path, or by an object with the path and more.
ModelFile translationFile(const ModelIndex &index, const QJsonValue &value) {
    const QJsonObject fields = value.toObject();
    const QString path = value.isString() ? value.toString() : fields.value(u"path"_s).toString();
    ModelFile file{
        .name = path.section(u'/', -1), .address = addressOf(index, path), .packing = packingOf(path)};
    if (file.packing == ModelPacking::gzip)
        file.name.chop(3);
    if (file.packing == ModelPacking::archive || file.name.isEmpty())
        throw malformed(index);
    if (const QJsonValue hash = fields.value(u"uncompressedHash"_s); !hash.isUndefined()) {
        const QByteArray checksum = hash.toString().toLatin1().toLower();
        if (!isSha256(checksum))
            throw malformed(index);
        (file.packing == ModelPacking::gzip ? file.contentSha256 : file.sha256) = checksum;
    }
    return file;
}

QList<ModelFile> translationFiles(const ModelIndex &index, const QByteArray &contents) {
    const auto json = QJsonDocument::fromJson(contents);
    if (!json.isObject())
        throw malformed(index);
    const QJsonValue models = json.object().value(u"models"_s);
    const QJsonObject pairs = models.isObject() ? models.toObject() : json.object();
    QJsonValue pair = pairs.value(index.name);
    if (pair.isUndefined())
        pair = pairs.value(QString(index.name).remove(u'-'));
    const QJsonObject described = chosenModel(index, pair).value(u"files"_s).toObject();
    if (described.isEmpty())
        throw missing(index);
    QList<ModelFile> files;
    QStringList names;
    for (const QString &part :
         {u"model"_s, u"lexicalShortlist"_s, u"vocab"_s, u"srcVocab"_s, u"trgVocab"_s}) {
        if (!described.contains(part))
            continue;
        files += translationFile(index, described.value(part));
        const QString key = twinKey(files.last().name);
        if (names.contains(key))
            throw malformed(index);
        names += key;
    }
    if (!described.contains(u"model"_s) || files.size() < 2)
        throw malformed(index);
    return files;
}

} // namespace

QList<ModelFile> filesOf(const ModelIndex &index, const QByteArray &contents) {
    if (contents.size() > longestIndex)
        throw malformed(index);
    switch (index.form) {
    case ModelIndex::Form::checksums:
        return listedFile(index, contents);
    case ModelIndex::Form::translations:
        return translationFiles(index, contents);
    }
    return {};
}

} // namespace quillora::platform
