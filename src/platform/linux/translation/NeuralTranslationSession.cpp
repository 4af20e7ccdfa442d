#include "platform/linux/translation/NeuralTranslationSession.h"

#include "platform/linux/translation/LanguageNames.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// A model that has just been rejected makes way for what else is installed.
bool isAnotherWay(const std::optional<ModelRoute> &route, const QStringList &triedModels) {
    return route && route->isUsable && !route->models.isEmpty() && route->models != triedModels;
}

} // namespace

NeuralTranslationSession::NeuralTranslationSession(ModelTask task, std::weak_ptr<NeuralEngine::Parts> parts)
    : m_task(std::move(task)), m_parts(std::move(parts)) {}

QCoro::Task<> NeuralTranslationSession::prepareTranslation() {
    auto route = parts()->routes.route(m_task);
    if (route && !route->isUsable) {
        const auto arrival = parts()->missing.fetch(m_task);
        co_await arrival;
        route = parts()->routes.route(m_task);
    }
    if (!route || route->models.isEmpty() || !route->isUsable)
        throw error(u"has no model any more."_s);
    std::exception_ptr reason;
    for (QStringList models; isAnotherWay(route, models); route = parts()->routes.route(m_task)) {
        models = route->models;
        try {
            co_await load(models);
            co_return;
        } catch (const LocalizedError &) {
            if (!reason)
                reason = std::current_exception(); // that of the first counts, since it is the best
        }
    }
    std::rethrow_exception(reason);
}

QCoro::Task<> NeuralTranslationSession::load(QStringList models) {
    std::vector<QCoro::Task<NeuralModels::Translator>> loadings; // of both halves of a way at once
    for (const QString &id : models)
        loadings.push_back(parts()->models.loaded(id));
    std::vector<NeuralModels::Translator> way;
    try {
        for (const auto &loading : loadings)
            way.push_back(co_await loading);
    } catch (const ContinuationDropped &) {
        throw error(u"was ended."_s);
    } catch (const LocalizedError &fault) {
        throw error(u"cannot be used: "_s + fault.errorDescription());
    }
    m_way = std::move(way);
}

QCoro::Task<TranslationResponse> NeuralTranslationSession::translate(QString text) {
    if (m_way.empty())
        co_await prepareTranslation();
    const auto translation = parts()->models.translated(m_way, std::move(text));
    TranslationResponse response{co_await translation};
    co_return response;
}

std::shared_ptr<NeuralEngine::Parts> NeuralTranslationSession::parts() const {
    auto parts = m_parts.lock();
    if (!parts)
        throw error(u"was ended."_s);
    return parts;
}

LocalizedError NeuralTranslationSession::error(const QString &whatHappened) const {
    const QString pair = pairInWords(m_task.languages.first(), m_task.languages.last());
    return LocalizedError(u"The on-device translation %1 %2"_s.arg(pair, whatHappened));
}

} // namespace quillora::platform
