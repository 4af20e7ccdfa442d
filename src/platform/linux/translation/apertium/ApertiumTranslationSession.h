#pragma once

#include "platform/Translators.h"
#include "platform/linux/translation/apertium/ApertiumModes.h"
#include "platform/linux/translation/apertium/ApertiumPipelines.h"

#include <memory>

namespace quillora::platform {

/// Translates one pair, directly or through a third language. It does not keep the pipelines: once their
/// owner has gone, everything fails.
class ApertiumTranslationSession : public TranslationSession {
public:
    /// `route` has one step at least.
    ApertiumTranslationSession(QList<ApertiumMode> route, std::weak_ptr<ApertiumPipelines> pipelines);

    QCoro::Task<> prepareTranslation() override;
    QCoro::Task<TranslationResponse> translate(QString text) override;

private:
    QCoro::Task<QString> translateStep(ApertiumMode mode, QString text);
    std::shared_ptr<ApertiumPipelines> pipelines() const;
    LocalizedError error(const QString &whatHappened) const;

    const QList<ApertiumMode> m_route;
    const std::weak_ptr<ApertiumPipelines> m_pipelines;
};

} // namespace quillora::platform
