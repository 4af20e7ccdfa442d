#include "models/ModelActions.h"

#include "platform/ModelVersion.h"

using namespace Qt::StringLiterals;

namespace quillora {

using platform::isNewer;
using platform::ModelState;
using platform::ModelTask;

bool ModelActions::isInUse(const Models &models, const ModelTask &task, const QString &id) {
    const auto route = models.routes().route(task);
    return route && route->isUsable && route->models.contains(id);
}

QList<ModelAction> ModelActions::offered(const Models &models, const ModelTask &task, const QString &id) {
    const ModelState state = models.store().state(id);
    if (state.progress)
        return {ModelAction::pause, ModelAction::cancel};
    if (state.isLeaving)
        return {ModelAction::keep};
    if (state.isPaused)
        return {ModelAction::resume, ModelAction::cancel};

    QList<ModelAction> actions;
    switch (state.presence) {
    case ModelState::Presence::absent:
        return {ModelAction::install};
    case ModelState::Presence::damaged:
    case ModelState::Presence::unfit:
        actions += ModelAction::repair;
        break;
    case ModelState::Presence::installed:
        if (!isInUse(models, task, id))
            actions += ModelAction::use;
        if (isNewer(models.description(id).version, state.version))
            actions += ModelAction::update;
        break;
    }
    if (state.isOwn)
        actions += ModelAction::remove;
    return actions;
}

void ModelActions::perform(ModelAction action, Models &models, const ModelTask &task, const QString &id) {
    switch (action) {
    case ModelAction::install:
        return models.install(task, id);
    case ModelAction::resume:
    case ModelAction::repair:
    case ModelAction::update:
    case ModelAction::keep:
        return models.store().install(id);
    case ModelAction::use:
        return models.choose(task, id);
    case ModelAction::pause:
        return models.store().pause(id);
    case ModelAction::cancel:
        return models.store().cancel(id);
    case ModelAction::remove:
        if (models.routes().chosen(task) == id)
            models.choose(task, {}); // nothing is to be downloaded again because of it
        return models.store().remove(id);
    }
    Q_UNREACHABLE();
}

QString name(ModelAction action) {
    switch (action) {
    case ModelAction::install:
        return u"Install"_s;
    case ModelAction::resume:
        return u"Resume"_s;
    case ModelAction::repair:
        return u"Repair"_s;
    case ModelAction::use:
        return u"Use"_s;
    case ModelAction::update:
        return u"Update"_s;
    case ModelAction::keep:
        return u"Keep"_s;
    case ModelAction::pause:
        return u"Pause"_s;
    case ModelAction::cancel:
        return u"Cancel"_s;
    case ModelAction::remove:
        return u"Remove"_s;
    }
    Q_UNREACHABLE();
}

} // namespace quillora
