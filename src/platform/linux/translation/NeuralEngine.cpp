#include "platform/linux/translation/NeuralEngine.h"

#include "platform/Detached.h"
#include "platform/linux/translation/NeuralTranslationSession.h"

namespace quillora::platform {

namespace {

/// Nobody waits for it: who translates later learns what is wrong.
QCoro::Task<> load(QCoro::Task<NeuralModels::Translator> loading) {
    try {
        co_await loading;
    } catch (const LocalizedError &) { // NOLINT(bugprone-empty-catch): see above
    }
}

} // namespace

NeuralEngine::NeuralEngine(const ModelRoutes &routes, ModelStore &store, ModelConsent &consent,
                           MainQueue &mainQueue)
    : m_parts(new Parts{routes, {store, routes, consent, mainQueue}, {store, mainQueue}}) {}

NeuralEngine::~NeuralEngine() = default;

std::shared_ptr<TranslationSession> NeuralEngine::session(const QString &source, const QString &target) {
    const auto task = ModelTask::translating(source, target);
    const auto route = m_parts->routes.route(task);
    if (!route || route->models.isEmpty())
        return nullptr;
    return std::make_shared<NeuralTranslationSession>(task, m_parts);
}

void NeuralEngine::warm(const QString &source, const QString &target) {
    const auto route = m_parts->routes.route(ModelTask::translating(source, target));
    if (!route || !route->isUsable)
        return;
    for (const QString &id : route->models)
        detach(load(m_parts->models.loaded(id)));
}

} // namespace quillora::platform
