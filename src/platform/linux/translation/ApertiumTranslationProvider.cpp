#include "platform/linux/translation/ApertiumTranslationProvider.h"

#include "platform/linux/translation/ApertiumModes.h"
#include "platform/linux/translation/ApertiumPipelines.h"
#include "platform/linux/translation/ApertiumTranslationSession.h"

#include <utility>

namespace quillora::platform {

ApertiumTranslationProvider::ApertiumTranslationProvider(MainQueue &mainQueue, QString modesFolder)
    : m_mainQueue(mainQueue), m_modesFolder(std::move(modesFolder)),
      m_pipelines(std::make_shared<ApertiumPipelines>(mainQueue)) {}

ApertiumTranslationProvider::~ApertiumTranslationProvider() = default;

void ApertiumTranslationProvider::translationTask(const TranslationConfiguration &configuration,
                                                  Action action) {
    auto route = ApertiumModes(m_modesFolder).route(configuration.source(), configuration.target());
    auto session = std::make_shared<ApertiumTranslationSession>(configuration, std::move(route), m_pipelines);
    m_mainQueue.async([session = std::move(session), action = std::move(action)] { action(session); });
}

} // namespace quillora::platform
