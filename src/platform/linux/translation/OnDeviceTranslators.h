#pragma once

#include "platform/linux/translation/OnDeviceEngine.h"

#include <memory>
#include <vector>

namespace quillora::platform {

/// Decides which engine serves a language pair: the first, in order of preference, that can.
class OnDeviceTranslators : public Translators {
public:
    explicit OnDeviceTranslators(std::vector<std::unique_ptr<OnDeviceEngine>> engines);

    std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) override;

private:
    const std::vector<std::unique_ptr<OnDeviceEngine>> m_engines;
};

} // namespace quillora::platform
