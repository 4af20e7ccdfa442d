#include "platform/linux/routing/EngineRoutes.h"

#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 gibibyte = qint64(1) << 30;

const QString english = u"en"_s;

/// A model hears a language, whatever the region.
bool isAmong(const QStringList &languages, const QString &locale) {
    return languages.contains(locale) || languages.contains(locale.section(u'-', 0, 0));
}

bool does(const ModelDescription &model, const ModelTask &task) {
    if (model.kind != task.kind)
        return false;
    if (task.kind == ModelKind::translation)
        return model.languages == task.languages;
    if (task.kind == ModelKind::voiceActivity)
        return true;
    return isAmong(model.languages, task.languages.first());
}

/// Of two models the larger one is worth its size where each further megabyte earns it so many points.
double priceOfMegabyte(const Computer &computer) {
    const bool isSmall = computer.memory < 4 * gibibyte || computer.cores < 2;
    return isSmall ? 0.3 : 0.1;
}

/// Where nobody has published how well they do, the size tells, as far as the computer can carry it. What may
/// be any size is not preferred to one that is known, and still to one that is known to be too large.
double ratingBySize(ModelSizeClass size, const Computer &computer) {
    const bool isRoomy = computer.memory >= 8 * gibibyte && computer.cores >= 4;
    switch (size) {
    case ModelSizeClass::light:
        return isRoomy ? 1 : 3;
    case ModelSizeClass::medium:
        return 2;
    case ModelSizeClass::large:
        return isRoomy ? 3 : 0;
    case ModelSizeClass::unknown:
        return isRoomy ? 0 : 1;
    }
    Q_UNREACHABLE();
}

/// Puts a model behind those of the next size, too.
constexpr double priceOfWeakness = 1.5;

/// What nobody states fits. The other half is for whatever else runs.
bool fits(const ModelDescription &model, const Computer &computer) {
    return model.memory.value_or(0) <= computer.memory / 2;
}

bool isScored(const ModelDescription &model) { return model.score && model.downloadSize; }

} // namespace

Computer Computer::thisOne() {
    return {qint64(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE), QThread::idealThreadCount()};
}

QString EngineRoutes::standardFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/Quillora/chosen-models.json"_s;
}

EngineRoutes::EngineRoutes(const ModelStore &store, QStringList engines, ComesWithSystem comesWithSystem,
                           Computer computer, QString file)
    : m_store(store), m_engines(std::move(engines)), m_comesWithSystem(std::move(comesWithSystem)),
      m_computer(computer), m_chosen(std::move(file)) {}

std::optional<ModelRoute> EngineRoutes::routeWithout(const QStringList &models, const ModelTask &task) const {
    ModelRoute byItself{.models = {}, .isUsable = true};
    if (task.kind == ModelKind::translation && task.languages.first() == task.languages.last())
        return byItself;
    auto straight = direct(models, task);
    if (straight && straight->isUsable)
        return straight;
    auto roundabout = byWayOfEnglish(models, task);
    if (roundabout && roundabout->isUsable)
        return roundabout;
    if (m_comesWithSystem(task))
        return byItself;
    return straight ? straight : roundabout;
}

QStringList EngineRoutes::choices(const ModelTask &task) const {
    QList<ModelDescription> models; // the best first; of equals that which the catalog names first
    for (const ModelDescription &model : m_store.models()) {
        if (!m_engines.contains(model.engine) || !does(model, task))
            continue;
        const auto place = std::find_if(models.begin(), models.end(), [&](const ModelDescription &other) {
            return isBetter(model, other, task);
        });
        models.insert(place, model);
    }
    QStringList ids;
    for (const ModelDescription &model : models)
        ids += model.id;
    return ids;
}

QString EngineRoutes::chosen(const ModelTask &task) const {
    const QString id = m_chosen.text(scope(task));
    return choices(task).contains(id) ? id : QString();
}

void EngineRoutes::choose(const ModelTask &task, const QString &id) { m_chosen.set(scope(task), id); }

ModelTask EngineRoutes::scope(const ModelTask &task) const {
    if (task.kind != ModelKind::speech)
        return task;
    const ModelTask inEveryRegion = ModelTask::hearing(task.languages.first().section(u'-', 0, 0));
    const auto models = m_store.models();
    const bool hasItsOwn = std::any_of(models.begin(), models.end(), [&](const ModelDescription &model) {
        return m_engines.contains(model.engine) && does(model, task) && !does(model, inEveryRegion);
    });
    return hasItsOwn ? task : inEveryRegion;
}

std::optional<ModelRoute> EngineRoutes::direct(const QStringList &without, const ModelTask &task) const {
    QStringList candidates = choices(task);
    candidates.removeIf([&](const QString &id) { return without.contains(id); });
    if (candidates.isEmpty())
        return {};
    if (const QString wanted = chosen(task); candidates.removeOne(wanted))
        candidates.prepend(wanted);
    const auto installed = std::find_if(candidates.begin(), candidates.end(), [this](const QString &id) {
        return m_store.state(id).isInstalled();
    });
    if (installed != candidates.end())
        return ModelRoute{.models = {*installed}, .isUsable = true};
    const auto untried = std::find_if(candidates.begin(), candidates.end(), [this](const QString &id) {
        return m_store.state(id).presence != ModelState::Presence::unfit;
    });
    return ModelRoute{.models = {untried != candidates.end() ? *untried : candidates.first()}};
}

std::optional<ModelRoute> EngineRoutes::byWayOfEnglish(const QStringList &without,
                                                       const ModelTask &task) const {
    if (task.kind != ModelKind::translation || task.languages.contains(english))
        return {};
    const auto first = direct(without, ModelTask::translating(task.languages.first(), english));
    const auto second = direct(without, ModelTask::translating(english, task.languages.last()));
    if (!first || !second)
        return {};
    return ModelRoute{.models = first->models + second->models,
                      .isUsable = first->isUsable && second->isUsable,
                      .isByWayOfEnglish = true};
}

/// One that fits into the computer's memory is better than one that does not, and of equals the smaller one,
/// which is also the faster one.
bool EngineRoutes::isBetter(const ModelDescription &model, const ModelDescription &other,
                            const ModelTask &task) const {
    const bool isFitting = fits(model, m_computer);
    if (isFitting != fits(other, m_computer))
        return isFitting;
    const double points = rating(model, task);
    const double otherPoints = rating(other, task);
    if (points != otherPoints)
        return points > otherPoints;
    return isScored(model) && isScored(other) && *model.downloadSize < *other.downloadSize;
}

/// Scores to a tenth of a point, as they are published.
double EngineRoutes::rating(const ModelDescription &model, const ModelTask &task) const {
    if (!isScored(model)) {
        const double points = ratingBySize(model.sizeClass, m_computer);
        return isAmong(model.weakerLanguages, task.languages.value(0)) ? points - priceOfWeakness : points;
    }
    const double price = double(*model.downloadSize) / 1e6 * priceOfMegabyte(m_computer);
    return std::round((model.score->value - price) * 10) / 10;
}

} // namespace quillora::platform
