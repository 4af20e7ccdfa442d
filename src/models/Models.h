#pragma once

#include "models/ModelNeed.h"
#include "platform/ModelConsent.h"
#include "platform/ModelRoutes.h"
#include "platform/ModelStore.h"

#include <QList>
#include <QObject>

namespace quillora {

/// From what a person wants to do, to the models that it takes. Main thread only.
class Models : public QObject {
    Q_OBJECT

public:
    /// All of them outlive this.
    Models(platform::ModelStore &store, platform::ModelRoutes &routes, platform::ModelConsent &consent);
    ~Models() override;

    platform::ModelStore &store() const { return m_store; }
    platform::ModelRoutes &routes() const { return m_routes; }

    /// What can be had under that id; all but the id is empty if it is not in the catalog.
    platform::ModelDescription description(const QString &id) const;

    ModelNeed need(const platform::ModelTask &task) const;

    /// What all of it takes together. It stands as its worst part does.
    ModelNeed need(const QList<platform::ModelTask> &tasks) const;

    /// Gets everything that the task lacks, without asking: the person has just said so.
    void install(const platform::ModelTask &task);

    /// Gets that one of the choices, and has it do the task from then on.
    void install(const platform::ModelTask &task, const QString &id);

    /// Has that one of the choices do the task, as soon as it is there; none leaves it to the recommendation.
    void choose(const platform::ModelTask &task, const QString &id);

    /// The person has chosen the tasks' languages. What they lack is downloaded if he agrees to that, all at
    /// once; what he declined for them before may be asked again. Nothing is asked for a task of which a
    /// model has been rejected: it would come in vain.
    void request(const QList<platform::ModelTask> &tasks);

    /// How much the models' downloads are, as the catalog says.
    DownloadSize downloadSize(const QStringList &ids) const;

Q_SIGNALS:
    /// The state of a model is another. Told from the event loop.
    void changed(const QString &id);

    /// A task is done with another model, or will be.
    void chosen(const platform::ModelTask &task);

private:
    bool isOnItsWay(const QString &id) const { return m_store.state(id).progress.has_value(); }
    ModelNeed needOf(const QList<platform::ModelRoute> &routes) const;
    std::optional<int> percentOf(const QStringList &ids) const;

    platform::ModelStore &m_store;
    platform::ModelRoutes &m_routes;
    platform::ModelConsent &m_consent;
    platform::ModelStore::ObserverToken m_observer = 0;
};

} // namespace quillora
