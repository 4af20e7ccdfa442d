#pragma once

#include "platform/ModelStore.h"

#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A model that a test needs, in version 1, of so many bytes.
inline platform::ModelDescription speechModel(const QString &id, const QString &language,
                                              std::optional<qint64> bytes = {}) {
    platform::ModelDescription model;
    model.id = id;
    model.kind = platform::ModelKind::speech;
    model.version = u"1"_s;
    model.languages = {language};
    model.downloadSize = bytes;
    model.publisher = u"k2-fsa"_s;
    model.sizeClass = platform::ModelSizeClass::light;
    return model;
}

inline platform::ModelDescription voiceActivityModel(const QString &id) {
    platform::ModelDescription model;
    model.id = id;
    model.kind = platform::ModelKind::voiceActivity;
    model.version = u"1"_s;
    model.publisher = u"k2-fsa"_s;
    model.sizeClass = platform::ModelSizeClass::light;
    return model;
}

inline platform::ModelDescription translationModel(const QString &id, const QString &source,
                                                   const QString &target, std::optional<qint64> bytes = {}) {
    platform::ModelDescription model;
    model.id = id;
    model.kind = platform::ModelKind::translation;
    model.version = u"1"_s;
    model.languages = {source, target};
    model.downloadSize = bytes;
    model.hosts = {u"models.example"_s};
    return model;
}

} // namespace quillora::test
