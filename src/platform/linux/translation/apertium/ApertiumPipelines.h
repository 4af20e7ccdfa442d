#pragma once

#include "platform/linux/translation/apertium/ApertiumPipeline.h"

#include <map>
#include <memory>

namespace quillora::platform {

/// The pipelines that run, at most one for each language pair. Main thread only.
class ApertiumPipelines {
public:
    explicit ApertiumPipelines(MainQueue &mainQueue) : m_mainQueue(mainQueue) {}

    /// The running pipeline of the pair, or a fresh one where there is none or it has ended.
    ApertiumPipeline &pipeline(const ApertiumMode &mode);

private:
    MainQueue &m_mainQueue;
    std::map<QString, std::unique_ptr<ApertiumPipeline>> m_pipelines; ///< by the mode's file
};

} // namespace quillora::platform
