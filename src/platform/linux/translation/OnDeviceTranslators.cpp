#include "platform/linux/translation/OnDeviceTranslators.h"

#include "platform/LocalizedError.h"
#include "platform/linux/translation/LanguageNames.h"

#include <utility>

namespace quillora::platform {

namespace {

/// Stands for a pair that no engine serves.
class UnservedPair : public TranslationSession {
public:
    UnservedPair(const QString &source, const QString &target)
        : m_reason(u"No on-device translation %1 is installed."_qs.arg(pairInWords(source, target))) {}

    QCoro::Task<> prepareTranslation() override {
        throw m_reason;
        co_return;
    }
    QCoro::Task<TranslationResponse> translate(QString /*text*/) override {
        throw m_reason;
        co_return {};
    }

private:
    const LocalizedError m_reason;
};

} // namespace

OnDeviceTranslators::OnDeviceTranslators(std::vector<std::unique_ptr<OnDeviceEngine>> engines)
    : m_engines(std::move(engines)) {}

std::shared_ptr<TranslationSession> OnDeviceTranslators::session(const QString &source,
                                                                 const QString &target) {
    for (const auto &engine : m_engines) {
        if (auto session = engine->session(source, target))
            return session;
    }
    return std::make_shared<UnservedPair>(source, target);
}

} // namespace quillora::platform
