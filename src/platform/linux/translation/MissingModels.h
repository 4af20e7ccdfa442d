#pragma once

#include "platform/Continuation.h"
#include "platform/MainQueue.h"
#include "platform/ModelConsent.h"

#include <QCoroTask>

#include <list>
#include <memory>

namespace quillora::platform {

/// Brings the models that a translation lacks: asks the person, has the store install them, and waits.
class MissingModels {
public:
    /// All of them outlive us.
    MissingModels(ModelStore &store, const ModelRoutes &routes, ModelConsent &consent, MainQueue &mainQueue);

    /// Whoever waits gets an error.
    ~MissingModels();
    MissingModels(const MissingModels &) = delete;
    MissingModels &operator=(const MissingModels &) = delete;

    /// Why one of the models that the task lacks has been rejected, so that it would come in vain; empty if
    /// none has.
    QString rejection(const ModelTask &task) const;

    /// Returns once the task can be done, be it by other models than those that were asked for: the person
    /// may choose meanwhile. Nobody is asked for what is on its way already. Where they do not come it throws
    /// a LocalizedError with the reason and with what can be done about it.
    QCoro::Task<> fetch(ModelTask task);

private:
    struct Waiter {
        ModelTask task;
        Continuation<bool> continuation;
    };

    QCoro::Task<DownloadAnswer> answer(DownloadQuestion question);
    QCoro::Task<> arrival(ModelTask task);
    QStringList wanted(const ModelTask &task) const;
    QString obstacle(const ModelTask &task) const;
    QString obstacleOnTheWay(const ModelTask &task) const;
    void tellWaiters();

    ModelStore &m_store;
    const ModelRoutes &m_routes;
    ModelConsent &m_consent;
    MainQueue &m_mainQueue;
    ModelStore::ObserverToken m_observer;
    std::list<Waiter> m_waiters;
    std::shared_ptr<void> m_life = std::make_shared<int>(); ///< asked for after every suspension
};

} // namespace quillora::platform
