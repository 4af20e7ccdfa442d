#pragma once

#include "platform/linux/models/ModelFolders.h"
#include "support/Files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

namespace quillora::test {

/// A model of speech in version 2, for an engine called "any".
inline QJsonObject describedModel(const QString &id, const QJsonArray &files) {
    return {{u"id"_qs, id},
            {u"kind"_qs, u"speech"_qs},
            {u"version"_qs, u"2"_qs},
            {u"languages"_qs, QJsonArray{u"en"_qs}},
            {u"engine"_qs, u"any"_qs},
            {u"files"_qs, files}};
}

inline QByteArray catalogOf(const QJsonArray &models, const QJsonArray &mirrors = {}) {
    return QJsonDocument(QJsonObject{{u"form"_qs, 1}, {u"models"_qs, models}, {u"mirrors"_qs, mirrors}})
        .toJson();
}

/// Lets a model of one file, "model.bin", be installed below the root.
inline void placeModel(const QString &root, const QString &id, const QString &version) {
    const platform::ModelFolders folders(root, {});
    writeFile(folders.newFolder(id, version) + u"/files/model.bin"_qs, "weights");
    if (!folders.publish(id, version, {}, [] { return false; }))
        throw std::runtime_error("the model could not be placed");
}

} // namespace quillora::test
