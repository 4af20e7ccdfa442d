#pragma once

#include "fakes/CallLog.h"
#include "platform/Continuation.h"
#include "platform/MainQueue.h"
#include "platform/TranslationSession.h"

#include <deque>
#include <utility>

namespace quillora::test {

/// On-device translation whose outcomes the test decides: at once by `translation`, or by hand.
class FakeTranslationProvider : public platform::TranslationProvider {
public:
    enum class Replies { atOnce, byHand };

    FakeTranslationProvider(CallLog &log, platform::MainQueue &mainQueue)
        : m_log(log), m_mainQueue(mainQueue) {}

    void translationTask(const platform::TranslationConfiguration &configuration, Action action) override {
        const QString pair = configuration.source() + u'>' + configuration.target();
        m_log.add(u"translation.task "_qs + pair);
        auto session = std::make_shared<Session>(*this, pair);
        m_mainQueue.async([session, action = std::move(action)] { action(session); });
    }

    /// The pair of every session that was asked to prepare, oldest first.
    QStringList preparedPairs;

    Replies replies = Replies::atOnce;
    std::optional<QString> preparationError;
    std::optional<QString> translationError;
    /// What a text becomes when replies come at once.
    std::function<QString(const QString &)> translation = [](const QString &text) {
        return u"<"_qs + text + u">"_qs;
    };

    /// Waiting calls, oldest first, when replies come by hand.
    std::deque<platform::Continuation<bool>> pendingPreparations;
    std::deque<platform::Continuation<QString>> pendingTranslations;

private:
    class Session : public platform::TranslationSession {
    public:
        Session(FakeTranslationProvider &provider, const QString &pair)
            : m_provider(provider), m_pair(pair) {}

        QCoro::Task<> prepareTranslation() override {
            m_provider.m_log.add(u"session.prepare"_qs);
            m_provider.preparedPairs += m_pair;
            if (m_provider.replies == Replies::byHand) {
                platform::Continuation<bool> continuation;
                const auto done = continuation.wait();
                m_provider.pendingPreparations.push_back(std::move(continuation));
                co_await done;
            } else if (m_provider.preparationError) {
                throw LocalizedError(*m_provider.preparationError);
            }
        }

        QCoro::Task<platform::TranslationResponse> translate(QString text) override {
            m_provider.m_log.add(u"session.translate "_qs + text);
            platform::TranslationResponse response;
            if (m_provider.replies == Replies::byHand) {
                platform::Continuation<QString> continuation;
                const auto done = continuation.wait();
                m_provider.pendingTranslations.push_back(std::move(continuation));
                response.targetText = co_await done;
            } else if (m_provider.translationError) {
                throw LocalizedError(*m_provider.translationError);
            } else {
                response.targetText = m_provider.translation(text);
            }
            co_return response;
        }

    private:
        FakeTranslationProvider &m_provider;
        QString m_pair;
    };

    CallLog &m_log;
    platform::MainQueue &m_mainQueue;
};

} // namespace quillora::test
