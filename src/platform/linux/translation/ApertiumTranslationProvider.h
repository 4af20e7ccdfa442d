#pragma once

#include "platform/MainQueue.h"
#include "platform/TranslationSession.h"

#include <QString>

#include <memory>

namespace quillora::platform {

class ApertiumPipelines;

/// Translation by the Apertium language pairs that are installed, directly or through one other language. Its
/// processes get the user's text through pipes alone.
class ApertiumTranslationProvider : public TranslationProvider {
public:
    /// Pairs are looked up in `modesFolder` at each task, so that one installed meanwhile is found.
    explicit ApertiumTranslationProvider(MainQueue &mainQueue,
                                         QString modesFolder = u"/usr/share/apertium/modes"_qs);

    /// Ends every process; translations under way fail.
    ~ApertiumTranslationProvider() override;

    void translationTask(const TranslationConfiguration &configuration, Action action) override;

private:
    MainQueue &m_mainQueue;
    const QString m_modesFolder;
    std::shared_ptr<ApertiumPipelines> m_pipelines; ///< sessions refer to it weakly
};

} // namespace quillora::platform
