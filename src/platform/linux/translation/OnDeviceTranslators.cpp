#include "platform/linux/translation/OnDeviceTranslators.h"

#include "platform/LocalizedError.h"
#include "platform/linux/translation/LanguageNames.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Stands for a pair that no engine serves.
class UnservedPair : public TranslationSession {
public:
    UnservedPair(const QString &source, const QString &target)
        : m_reason(u"There is no on-device translation %1. Choose OpenAI Natural as the engine."_s.arg(
              pairInWords(source, target))) {}

    QCoro::Task<> prepareTranslation() override {
        throw LocalizedError(m_reason);
        co_return;
    }
    QCoro::Task<TranslationResponse> translate(QString /*text*/) override {
        throw LocalizedError(m_reason);
        co_return {};
    }

private:
    const QString m_reason;
};

/// Translates with the first of some sessions that can be prepared.
class FirstThatWorks : public TranslationSession {
public:
    /// At least one.
    explicit FirstThatWorks(std::vector<std::shared_ptr<TranslationSession>> sessions)
        : m_sessions(std::move(sessions)) {}

    /// The reason of the first one counts, since it is the best.
    QCoro::Task<> prepareTranslation() override {
        m_chosen = nullptr;
        std::exception_ptr reason;
        for (const auto &session : m_sessions) {
            try {
                co_await session->prepareTranslation();
                m_chosen = session.get();
                co_return;
            } catch (const LocalizedError &) {
                if (!reason)
                    reason = std::current_exception();
            }
        }
        std::rethrow_exception(reason);
    }

    QCoro::Task<TranslationResponse> translate(QString text) override {
        if (m_chosen == nullptr)
            co_await prepareTranslation();
        co_return co_await m_chosen->translate(std::move(text));
    }

private:
    const std::vector<std::shared_ptr<TranslationSession>> m_sessions;
    TranslationSession *m_chosen = nullptr;
};

} // namespace

OnDeviceTranslators::OnDeviceTranslators(std::vector<std::unique_ptr<OnDeviceEngine>> engines)
    : m_engines(std::move(engines)) {}

std::shared_ptr<TranslationSession> OnDeviceTranslators::session(const QString &source,
                                                                 const QString &target) {
    std::vector<std::shared_ptr<TranslationSession>> sessions;
    for (const auto &engine : m_engines) {
        if (auto session = engine->session(source, target))
            sessions.push_back(std::move(session));
    }
    if (sessions.empty())
        return std::make_shared<UnservedPair>(source, target);
    return std::make_shared<FirstThatWorks>(std::move(sessions));
}

void OnDeviceTranslators::warm(const QString &source, const QString &target) {
    for (const auto &engine : m_engines) {
        if (engine->session(source, target))
            return engine->warm(source, target); // the others would only take memory
    }
}

} // namespace quillora::platform
