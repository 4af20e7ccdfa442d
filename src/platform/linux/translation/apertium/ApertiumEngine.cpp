#include "platform/linux/translation/apertium/ApertiumEngine.h"

#include "platform/linux/translation/apertium/ApertiumModes.h"
#include "platform/linux/translation/apertium/ApertiumPipelines.h"
#include "platform/linux/translation/apertium/ApertiumTranslationSession.h"

#include <utility>

namespace quillora::platform {

bool ApertiumEngine::isInstalledFor(const QString &source, const QString &target) {
    return !ApertiumModes(systemFolder()).route(source, target).isEmpty();
}

ApertiumEngine::ApertiumEngine(MainQueue &mainQueue, QString modesFolder)
    : m_modesFolder(std::move(modesFolder)), m_pipelines(std::make_shared<ApertiumPipelines>(mainQueue)) {}

ApertiumEngine::~ApertiumEngine() = default;

std::shared_ptr<TranslationSession> ApertiumEngine::session(const QString &source, const QString &target) {
    auto route = ApertiumModes(m_modesFolder).route(source, target);
    if (route.isEmpty())
        return nullptr;
    return std::make_shared<ApertiumTranslationSession>(std::move(route), m_pipelines);
}

void ApertiumEngine::warm(const QString &source, const QString &target) {
    for (const ApertiumMode &mode : ApertiumModes(m_modesFolder).route(source, target))
        m_pipelines->pipeline(mode).warm();
}

} // namespace quillora::platform
