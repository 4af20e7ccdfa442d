#include "platform/linux/translation/apertium/ApertiumPipelines.h"

namespace quillora::platform {

ApertiumPipeline &ApertiumPipelines::pipeline(const ApertiumMode &mode) {
    auto &pipeline = m_pipelines[mode.file];
    if (!pipeline || !pipeline->isUsable())
        pipeline = std::make_unique<ApertiumPipeline>(mode, m_mainQueue);
    return *pipeline;
}

} // namespace quillora::platform
