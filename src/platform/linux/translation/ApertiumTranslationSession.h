#pragma once

#include "platform/TranslationSession.h"
#include "platform/linux/translation/ApertiumModes.h"
#include "platform/linux/translation/ApertiumPipelines.h"

#include <memory>

namespace quillora::platform {

/// Translates one pair, directly or through a third language. It does not keep the pipelines: once their
/// owner has gone, everything fails.
class ApertiumTranslationSession : public TranslationSession {
public:
    /// `route` may be empty: preparation then says that nothing is installed for the pair.
    ApertiumTranslationSession(TranslationConfiguration configuration, QList<ApertiumMode> route,
                               std::weak_ptr<ApertiumPipelines> pipelines);

    QCoro::Task<> prepareTranslation() override;
    QCoro::Task<TranslationResponse> translate(QString text) override;

private:
    QCoro::Task<QString> translateStep(ApertiumMode mode, QString text);
    std::shared_ptr<ApertiumPipelines> pipelines() const;
    QString pairInWords() const;
    void requireRoute() const;

    const TranslationConfiguration m_configuration;
    const QList<ApertiumMode> m_route;
    const std::weak_ptr<ApertiumPipelines> m_pipelines;
};

} // namespace quillora::platform
