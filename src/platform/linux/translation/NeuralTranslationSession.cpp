#include "platform/linux/translation/NeuralTranslationSession.h"

#include "platform/linux/translation/LanguageNames.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

NeuralTranslationSession::NeuralTranslationSession(ModelTask task, std::weak_ptr<NeuralEngine::Parts> parts)
    : m_task(std::move(task)), m_parts(std::move(parts)) {}

QCoro::Task<> NeuralTranslationSession::prepareTranslation() {
    auto route = parts()->routes.route(m_task);
    if (route && !route->isUsable) {
        if (const QString problem = parts()->missing.rejection(m_task); !problem.isEmpty())
            throw error(u"cannot be used: "_s + NeuralModels::withWayOut(problem));
        const auto arrival = parts()->missing.fetch(m_task);
        co_await arrival;
        route = parts()->routes.route(m_task);
    }
    if (!route || route->models.isEmpty() || !route->isUsable)
        throw error(u"has no model any more."_s);
    co_await load(std::move(route));
}

/// What cannot be loaded makes way for what else is installed, be it rejected or failing only for now. The
/// reason of the first way counts, since it is the best.
QCoro::Task<> NeuralTranslationSession::load(std::optional<ModelRoute> route) {
    std::exception_ptr reason;
    for (QStringList failed; route && route->isUsable && !route->models.isEmpty();
         route = parts()->routes.routeWithout(failed, m_task)) {
        std::vector<QCoro::Task<NeuralModels::Translator>> loadings; // of both halves of a way at once
        for (const QString &id : route->models)
            loadings.push_back(parts()->models.loaded(id));
        std::vector<NeuralModels::Translator> way;
        for (std::size_t i = 0; i < loadings.size(); ++i) {
            try {
                way.push_back(co_await loadings[i]);
            } catch (const ContinuationDropped &) {
                throw error(u"was ended."_s);
            } catch (const LocalizedError &fault) {
                failed += route->models[static_cast<qsizetype>(i)];
                if (!reason)
                    reason = std::make_exception_ptr(error(u"cannot be used: "_s + fault.errorDescription()));
            }
        }
        if (way.size() == loadings.size()) {
            m_way = std::move(way);
            co_return;
        }
    }
    std::rethrow_exception(reason);
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
