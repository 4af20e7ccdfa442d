#pragma once

#include "platform/linux/translation/OnDeviceEngine.h"

#include <memory>
#include <vector>

namespace quillora::platform {

/// Translates with the first engine, in order of preference, that serves a pair; with the next where that one
/// turns out not to be able to.
class OnDeviceTranslators : public Translators {
public:
    explicit OnDeviceTranslators(std::vector<std::unique_ptr<OnDeviceEngine>> engines);

    std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) override;
    void warm(const QString &source, const QString &target) override;

private:
    const std::vector<std::unique_ptr<OnDeviceEngine>> m_engines;
};

} // namespace quillora::platform
