#pragma once

#include "models/Models.h"

namespace quillora {

/// What a person may do with a model, in the order in which it is offered.
enum class ModelAction { install, resume, repair, use, update, keep, pause, cancel, remove };

/// A model as one of those that may do a task. Pure, but for what is done.
class ModelActions {
public:
    ModelActions() = delete;

    /// What is offered now.
    static QList<ModelAction> offered(const Models &models, const platform::ModelTask &task,
                                      const QString &id);

    /// Whether the task is done with it.
    static bool isInUse(const Models &models, const platform::ModelTask &task, const QString &id);

    static void perform(ModelAction action, Models &models, const platform::ModelTask &task,
                        const QString &id);
};

/// As on the button.
QString name(ModelAction action);

} // namespace quillora
