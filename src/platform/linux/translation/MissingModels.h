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
    MissingModels(ModelStore &store, ModelConsent &consent, MainQueue &mainQueue);

    /// Whoever waits gets an error.
    ~MissingModels();
    MissingModels(const MissingModels &) = delete;
    MissingModels &operator=(const MissingModels &) = delete;

    /// Returns once all of them are installed. Nobody is asked for what is on its way already. Where they do
    /// not come it throws a LocalizedError with the reason and with what can be done about it.
    QCoro::Task<> fetch(ModelTask task, QStringList models);

private:
    struct Waiter {
        ModelTask task;
        QStringList models;
        Continuation<bool> continuation;
    };

    QCoro::Task<DownloadAnswer> answer(DownloadQuestion question);
    QCoro::Task<> arrival(ModelTask task, QStringList models);
    QString obstacle(const Waiter &waiter) const;
    void tellWaiters();

    ModelStore &m_store;
    ModelConsent &m_consent;
    MainQueue &m_mainQueue;
    ModelStore::ObserverToken m_observer;
    std::list<Waiter> m_waiters;
    std::shared_ptr<void> m_life = std::make_shared<int>(); ///< asked for after every suspension
};

} // namespace quillora::platform
