#include "platform/linux/translation/MissingModels.h"

#include "platform/ModelRejection.h"
#include "platform/linux/translation/LanguageNames.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// "English to Russian".
QString names(const ModelTask &task) {
    return u"%1 to %2"_s.arg(englishLanguageName(task.languages.first()),
                             englishLanguageName(task.languages.last()));
}

} // namespace

MissingModels::MissingModels(ModelStore &store, const ModelRoutes &routes, ModelConsent &consent,
                             MainQueue &mainQueue)
    : m_store(store), m_routes(routes), m_consent(consent), m_mainQueue(mainQueue),
      m_observer(store.addObserver([this](const QString &) { tellWaiters(); })) {}

MissingModels::~MissingModels() { m_store.removeObserver(m_observer); }

QString MissingModels::rejection(const ModelTask &task) const {
    for (const QString &id : wanted(task)) {
        if (isRejected(m_store, id))
            return m_store.state(id).problem;
    }
    return {};
}

QCoro::Task<> MissingModels::fetch(ModelTask task) {
    if (const QStringList models = wanted(task); !models.isEmpty()) {
        const std::weak_ptr<void> life = m_life;
        const DownloadAnswer given = co_await answer({{task}, models});
        if (life.expired())
            throw ContinuationDropped();
        if (given == DownloadAnswer::notNow)
            throw LocalizedError(
                u"%1 needs a download that was not agreed to. Choose the languages again to be "
                "asked again, or open Models in the tray menu."_s.arg(names(task)));
        for (const QString &id : wanted(task)) // as it is now
            m_store.install(id);
    }
    co_await arrival(std::move(task));
}

/// What is neither there nor on its way.
QStringList MissingModels::wanted(const ModelTask &task) const {
    const auto route = m_routes.route(task);
    if (!route || route->isUsable)
        return {};
    QStringList wanted;
    for (const QString &id : route->models) {
        const ModelState state = m_store.state(id);
        if (!state.isInstalled() && !state.progress)
            wanted += id;
    }
    return wanted;
}

QCoro::Task<DownloadAnswer> MissingModels::answer(DownloadQuestion question) {
    Continuation<DownloadAnswer> continuation(m_mainQueue);
    const auto answered = continuation.wait();
    m_consent.ask(question,
                  [asked = std::move(continuation)](DownloadAnswer answer) { asked.resume(answer); });
    co_return co_await answered;
}

QCoro::Task<> MissingModels::arrival(ModelTask task) {
    Continuation<bool> continuation(m_mainQueue);
    const auto arrived = continuation.wait();
    m_waiters.push_back({std::move(task), std::move(continuation)});
    tellWaiters();
    co_await arrived;
}

/// Why nothing of what is on its way comes; empty if it does.
QString MissingModels::obstacleOnTheWay(const ModelTask &task) const {
    const auto route = m_routes.route(task);
    if (!route || route->isUsable)
        return {};
    for (const QString &id : route->models) {
        const ModelState state = m_store.state(id);
        if (state.progress && !state.progress->obstacle.isEmpty())
            return state.progress->obstacle;
    }
    return {};
}

/// Why what the task lacks will not come by itself, or not soon; empty if all of it will.
QString MissingModels::obstacle(const ModelTask &task) const {
    const QStringList models = wanted(task);
    const QString pair = names(task);
    if (models.isEmpty()) {
        const QString reason = obstacleOnTheWay(task);
        return reason.isEmpty() ? QString()
                                : u"The download for %1 gets no connection: %2 It is tried again for a "
                                  "while; translate again when it has come, or see Models in the tray "
                                  "menu."_s.arg(pair, reason);
    }
    const ModelState state = m_store.state(models.first());
    if (state.isPaused && !state.hasFailed) // what broke off in the middle is both
        return u"The download for %1 is paused. Go on with it under Models in the tray menu."_s.arg(pair);
    if (!state.problem.isEmpty())
        return u"The download for %1 failed: %2 Try again under Models in the tray menu."_s.arg(
            pair, state.problem);
    return u"The download for %1 was cancelled. Translate again to be asked again, or open Models in the "
           "tray menu."_s.arg(pair);
}

void MissingModels::tellWaiters() {
    m_waiters.remove_if([this](const Waiter &waiter) {
        const QString fault = obstacle(waiter.task);
        const auto route = m_routes.route(waiter.task);
        const bool isDone = !route || route->isUsable;
        if (!fault.isEmpty())
            waiter.continuation.fail(std::make_exception_ptr(LocalizedError(fault)));
        else if (isDone)
            waiter.continuation.resume(true);
        return isDone || !fault.isEmpty();
    });
}

} // namespace quillora::platform
