#pragma once

#include "models/Models.h"

#include <optional>

namespace quillora {

/// A task and all that does it, as a list shows them.
struct ModelEntry {
    platform::ModelTask task;
    QStringList choices; ///< models, the recommended one first
    QString lead;        ///< as `ModelList::lead`, else the recommended one

    bool operator==(const ModelEntry &) const = default;
};

/// What there is to choose from, by tasks. Pure.
class ModelList {
public:
    ModelList() = delete;

    /// Which of a task's choices it is done with, or would be; none if it is done without them.
    static std::optional<QString> lead(const Models &models, const platform::ModelTask &task,
                                       const QStringList &choices);

    /// An entry for each of the locales that a model hears, in their order.
    static QList<ModelEntry> speech(const Models &models, const QStringList &locales);

    /// An entry for telling speech from pauses; none where no model does.
    static std::optional<ModelEntry> pauses(const Models &models);

    /// An entry for each pair of languages that a model translates: in the order of the languages, by what is
    /// not English, and what is translated from English first.
    static QList<ModelEntry> translation(const Models &models, const QStringList &languages);
};

} // namespace quillora
