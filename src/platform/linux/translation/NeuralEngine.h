#pragma once

#include "platform/ModelConsent.h"
#include "platform/linux/translation/MissingModels.h"
#include "platform/linux/translation/NeuralModels.h"
#include "platform/linux/translation/OnDeviceEngine.h"

#include <memory>

namespace quillora::platform {

/// Translation by the neural models that the store has or can get, directly or by way of English.
class NeuralEngine : public OnDeviceEngine {
public:
    /// What sessions need; once it has gone, everything fails.
    struct Parts {
        const ModelRoutes &routes;
        MissingModels missing;
        NeuralModels models;
    };

    /// All of them outlive us.
    NeuralEngine(const ModelRoutes &routes, ModelStore &store, ModelConsent &consent, MainQueue &mainQueue);

    /// Translations under way are stopped within 20 ms, and fail; a model that is just being loaded is waited
    /// for.
    ~NeuralEngine() override;

    std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) override;
    void warm(const QString &source, const QString &target) override;

private:
    const std::shared_ptr<Parts> m_parts; ///< sessions refer to it weakly
};

} // namespace quillora::platform
