#include "models/Models.h"

#include "platform/ModelRejection.h"

#include <QPointer>

#include <algorithm>

namespace quillora {

using platform::ModelDescription;
using platform::ModelRoute;
using platform::ModelTask;
using Standing = ModelNeed::Standing;

namespace {

std::optional<qint64> sizeOf(const ModelDescription &description) {
    return description.downloadSize ? description.downloadSize : description.installedSize;
}

} // namespace

Models::Models(platform::ModelStore &store, platform::ModelRoutes &routes, platform::ModelConsent &consent)
    : m_store(store), m_routes(routes), m_consent(consent) {
    m_observer = m_store.addObserver([self = QPointer<Models>(this)](const QString &id) {
        if (self)
            Q_EMIT self->changed(id);
    });
}

Models::~Models() { m_store.removeObserver(m_observer); }

ModelDescription Models::description(const QString &id) const {
    ModelDescription unknown;
    unknown.id = id;
    return m_store.description(id).value_or(unknown);
}

DownloadSize Models::downloadSize(const QStringList &ids) const {
    DownloadSize sum;
    for (const QString &id : ids) {
        const ModelDescription model = description(id);
        const auto size = sizeOf(model);
        sum.bytes += size.value_or(0);
        sum.isEstimate = sum.isEstimate || (size && !model.downloadSize);
        sum.isWhole = sum.isWhole && size;
    }
    return sum;
}

ModelNeed Models::need(const ModelTask &task) const { return need(QList<ModelTask>{task}); }

ModelNeed Models::need(const QList<ModelTask> &tasks) const {
    QList<ModelRoute> routes;
    for (const ModelTask &task : tasks) {
        const auto route = m_routes.route(task);
        if (!route)
            return {.standing = Standing::unserved, .missing = {}, .size = {}, .percent = {}};
        routes += *route;
    }
    return needOf(routes);
}

ModelNeed Models::needOf(const QList<ModelRoute> &routes) const {
    ModelNeed need;
    QStringList onTheirWay;
    for (const ModelRoute &route : routes) {
        need.isByWayOfEnglish = need.isByWayOfEnglish || route.isByWayOfEnglish;
        if (route.isUsable)
            continue;
        for (const QString &id : route.models) {
            QStringList &lacking = isOnItsWay(id) ? onTheirWay : need.missing;
            if (!m_store.state(id).isInstalled() && !lacking.contains(id))
                lacking += id;
        }
    }
    need.size = downloadSize(need.missing);
    need.percent = percentOf(onTheirWay);
    const bool isReady = std::all_of(routes.begin(), routes.end(), [](const auto &r) { return r.isUsable; });
    need.standing = isReady                  ? Standing::ready
                    : need.missing.isEmpty() ? Standing::arriving
                                             : Standing::missing;
    return need;
}

std::optional<int> Models::percentOf(const QStringList &ids) const {
    qint64 received = 0;
    qint64 total = 0;
    for (const QString &id : ids) {
        const auto progress = m_store.state(id).progress;
        const auto size = progress->totalBytes ? progress->totalBytes : sizeOf(description(id));
        if (!size)
            return {};
        received += std::min(progress->receivedBytes, *size);
        total += *size;
    }
    if (total <= 0)
        return {};
    return static_cast<int>(received * 100 / total);
}

void Models::install(const ModelTask &task) {
    for (const QString &id : need(task).missing)
        m_store.install(id);
}

void Models::install(const ModelTask &task, const QString &id) {
    choose(task, id);
    m_store.install(id);
}

void Models::choose(const ModelTask &task, const QString &id) {
    const QStringList choices = m_routes.choices(task);
    const bool isRecommended = !choices.isEmpty() && choices.first() == id;
    m_routes.choose(task, isRecommended ? QString() : id);
    Q_EMIT chosen(task);
}

void Models::request(const QList<ModelTask> &tasks) {
    QList<ModelTask> lacking;
    for (const ModelTask &task : tasks) {
        m_consent.forget(task);
        const ModelNeed taken = need(task);
        if (taken.standing == Standing::missing &&
            !std::any_of(taken.missing.begin(), taken.missing.end(),
                         [this](const QString &id) { return platform::isRejected(m_store, id); }))
            lacking += task;
    }
    if (lacking.isEmpty())
        return;
    m_consent.ask({lacking, need(lacking).missing},
                  [self = QPointer<Models>(this), lacking](platform::DownloadAnswer answer) {
                      if (!self || answer != platform::DownloadAnswer::download)
                          return;
                      for (const ModelTask &task : lacking)
                          self->install(task);
                  });
}

} // namespace quillora
