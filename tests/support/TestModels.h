#pragma once

#include "platform/linux/models/ModelFolders.h"
#include "support/Files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A model of speech in version 2, for an engine called "any".
inline QJsonObject describedModel(const QString &id, const QJsonArray &files) {
    return {{u"id"_s, id},           {u"kind"_s, u"speech"_s},
            {u"version"_s, u"2"_s},  {u"languages"_s, QJsonArray{u"en"_s}},
            {u"engine"_s, u"any"_s}, {u"files"_s, files}};
}

inline QByteArray catalogOf(const QJsonArray &models, const QJsonArray &mirrors = {}) {
    return QJsonDocument(QJsonObject{{u"form"_s, 1}, {u"models"_s, models}, {u"mirrors"_s, mirrors}})
        .toJson();
}

/// Lets a model of one file, "model.bin", be installed below the root.
inline void placeModel(const QString &root, const QString &id, const QString &version) {
    const platform::ModelFolders folders(root, {});
    writeFile(folders.newFolder(id, version) + u"/files/model.bin"_s, "weights");
    if (!folders.publish(id, version, {}, [] { return false; }))
        throw std::runtime_error("the model could not be placed");
}

} // namespace quillora::test
