#include "platform/linux/translation/MissingModels.h"

#include "platform/linux/translation/LanguageNames.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

/// "English to Russian".
QString names(const ModelTask &task) {
    return u"%1 to %2"_qs.arg(englishLanguageName(task.languages.first()),
                              englishLanguageName(task.languages.last()));
}

} // namespace

MissingModels::MissingModels(ModelStore &store, ModelConsent &consent, MainQueue &mainQueue)
    : m_store(store), m_consent(consent), m_mainQueue(mainQueue),
      m_observer(store.addObserver([this](const QString &) { tellWaiters(); })) {}

MissingModels::~MissingModels() { m_store.removeObserver(m_observer); }

QCoro::Task<> MissingModels::fetch(ModelTask task, QStringList models) {
    QStringList wanted;
    for (const QString &id : models) {
        const ModelState state = m_store.state(id);
        if (!state.isInstalled() && !state.progress)
            wanted += id;
    }
    if (!wanted.isEmpty()) {
        const std::weak_ptr<void> life = m_life;
        const DownloadAnswer given = co_await answer({{task}, wanted});
        if (life.expired())
            throw ContinuationDropped();
        if (given == DownloadAnswer::notNow)
            throw LocalizedError(
                u"%1 needs a download that was not agreed to. Choose the languages again to be "
                "asked again, or open Models in the tray menu."_qs.arg(names(task)));
        for (const QString &id : wanted)
            m_store.install(id);
    }
    co_await arrival(std::move(task), std::move(models));
}

QCoro::Task<DownloadAnswer> MissingModels::answer(DownloadQuestion question) {
    Continuation<DownloadAnswer> continuation(m_mainQueue);
    const auto answered = continuation.wait();
    m_consent.ask(question,
                  [asked = std::move(continuation)](DownloadAnswer answer) { asked.resume(answer); });
    co_return co_await answered;
}

QCoro::Task<> MissingModels::arrival(ModelTask task, QStringList models) {
    Continuation<bool> continuation(m_mainQueue);
    const auto arrived = continuation.wait();
    m_waiters.push_back({std::move(task), std::move(models), std::move(continuation)});
    tellWaiters();
    co_await arrived;
}

/// Why a model will not come by itself; empty if all of them will.
QString MissingModels::obstacle(const Waiter &waiter) const {
    const QString pair = names(waiter.task);
    for (const QString &id : waiter.models) {
        const ModelState state = m_store.state(id);
        if (state.isInstalled() || state.progress)
            continue;
        if (state.isPaused)
            return u"The download for %1 is paused. Go on with it under Models in the tray menu."_qs.arg(
                pair);
        if (!state.problem.isEmpty())
            return u"The download for %1 failed: %2 Try again under Models in the tray menu."_qs.arg(
                pair, state.problem);
        return u"The download for %1 was cancelled. Translate again to be asked again, or open Models in the "
               u"tray "
               "menu."_qs.arg(pair);
    }
    return {};
}

void MissingModels::tellWaiters() {
    m_waiters.remove_if([this](const Waiter &waiter) {
        const QString fault = obstacle(waiter);
        const bool isComplete =
            std::all_of(waiter.models.begin(), waiter.models.end(),
                        [this](const QString &id) { return m_store.state(id).isInstalled(); });
        if (!fault.isEmpty())
            waiter.continuation.fail(std::make_exception_ptr(LocalizedError(fault)));
        else if (isComplete)
            waiter.continuation.resume(true);
        return isComplete || !fault.isEmpty();
    });
}

} // namespace quillora::platform
