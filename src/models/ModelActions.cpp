#include "models/ModelActions.h"

#include "platform/ModelVersion.h"

using namespace Qt::StringLiterals;

namespace quillora {

using platform::isNewer;
using platform::ModelState;
using platform::ModelTask;

namespace {

/// What brings more of it than there is; none where all of it is there.
std::optional<ModelAction> completion(const ModelState &state, const QString &publishedVersion) {
    if (state.isPaused)
        return ModelAction::resume;
    switch (state.presence) {
    case ModelState::Presence::absent:
        return ModelAction::install;
    case ModelState::Presence::damaged:
    case ModelState::Presence::unfit:
        return ModelAction::repair;
    case ModelState::Presence::installed:
        break;
    }
    return isNewer(publishedVersion, state.version) ? std::optional(ModelAction::update) : std::nullopt;
}

} // namespace

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

    QList<ModelAction> actions;
    const auto gain = completion(state, models.description(id).version);
    if (gain && *gain != ModelAction::update)
        actions += *gain;
    if (state.isInstalled() && !isInUse(models, task, id))
        actions += ModelAction::use;
    if (gain == ModelAction::update)
        actions += ModelAction::update;
    if (state.isPaused)
        actions += ModelAction::cancel;
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
