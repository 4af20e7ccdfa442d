#pragma once

#include "platform/MainQueue.h"
#include "platform/linux/translation/OnDeviceEngine.h"

#include <QString>

#include <memory>

namespace quillora::platform {

using namespace Qt::StringLiterals;

class ApertiumPipelines;

/// Translation by the Apertium language pairs that are installed, directly or through one other language. Its
/// processes get the user's text through pipes alone.
class ApertiumEngine : public OnDeviceEngine {
public:
    /// Whether the system's data serves the pair.
    static bool isInstalledFor(const QString &source, const QString &target);

    /// Pairs are looked up in `modesFolder` for each session, so that one installed meanwhile is found.
    explicit ApertiumEngine(MainQueue &mainQueue, QString modesFolder = systemFolder());

    /// Ends every process; translations under way fail.
    ~ApertiumEngine() override;

    std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) override;

    void warm(const QString &source, const QString &target) override;

private:
    static QString systemFolder() { return u"/usr/share/apertium/modes"_s; }

    const QString m_modesFolder;
    std::shared_ptr<ApertiumPipelines> m_pipelines; ///< sessions refer to it weakly
};

} // namespace quillora::platform
