#pragma once

#include "platform/Translators.h"
#include "platform/linux/translation/NeuralEngine.h"

#include <memory>
#include <optional>
#include <vector>

namespace quillora::platform {

/// Translates one pair with what serves it when it is prepared.
class NeuralTranslationSession : public TranslationSession {
public:
    NeuralTranslationSession(ModelTask task, std::weak_ptr<NeuralEngine::Parts> parts);

    /// Asks for what is missing and has it installed first, if nothing that is installed serves the pair.
    QCoro::Task<> prepareTranslation() override;
    QCoro::Task<TranslationResponse> translate(QString text) override;

private:
    QCoro::Task<> load(std::optional<ModelRoute> route);
    std::shared_ptr<NeuralEngine::Parts> parts() const;
    LocalizedError error(const QString &whatHappened) const;

    const ModelTask m_task;
    const std::weak_ptr<NeuralEngine::Parts> m_parts;
    std::vector<NeuralModels::Translator> m_way; ///< empty until it is prepared
};

} // namespace quillora::platform
