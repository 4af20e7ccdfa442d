#pragma once

#include "fakes/CallLog.h"
#include "platform/Continuation.h"
#include "platform/Translators.h"

#include <deque>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// On-device translation whose outcomes the test decides: at once by `translation`, or by hand.
class FakeTranslators : public platform::Translators {
public:
    enum class Replies { atOnce, byHand };

    FakeTranslators(CallLog &log, platform::MainQueue &queue) : m_log(log), m_queue(queue) {}

    std::shared_ptr<platform::TranslationSession> session(const QString &source,
                                                          const QString &target) override {
        const QString pair = source + u'>' + target;
        m_log.add(u"translation.session "_s + pair);
        return std::make_shared<Session>(*this, pair);
    }

    void warm(const QString &source, const QString &target) override {
        warmedPairs += source + u'>' + target;
    }

    QStringList warmedPairs; ///< oldest first

    /// The pair of every session that was asked to prepare, oldest first.
    QStringList preparedPairs;

    Replies replies = Replies::atOnce;
    std::optional<QString> preparationError;
    std::optional<QString> translationError;
    /// What a text becomes when replies come at once.
    std::function<QString(const QString &)> translation = [](const QString &text) {
        return u"<"_s + text + u">"_s;
    };

    /// Waiting calls, oldest first, when replies come by hand.
    std::deque<platform::Continuation<bool>> pendingPreparations;
    std::deque<platform::Continuation<QString>> pendingTranslations;

private:
    class Session : public platform::TranslationSession {
    public:
        Session(FakeTranslators &translators, const QString &pair)
            : m_translators(translators), m_pair(pair) {}

        QCoro::Task<> prepareTranslation() override {
            m_translators.m_log.add(u"session.prepare"_s);
            m_translators.preparedPairs += m_pair;
            if (m_translators.replies == Replies::byHand) {
                platform::Continuation<bool> continuation(m_translators.m_queue);
                const auto done = continuation.wait();
                m_translators.pendingPreparations.push_back(std::move(continuation));
                co_await done;
            } else if (m_translators.preparationError) {
                throw LocalizedError(*m_translators.preparationError);
            }
        }

        QCoro::Task<platform::TranslationResponse> translate(QString text) override {
            m_translators.m_log.add(u"session.translate "_s + text);
            platform::TranslationResponse response;
            if (m_translators.replies == Replies::byHand) {
                platform::Continuation<QString> continuation(m_translators.m_queue);
                const auto done = continuation.wait();
                m_translators.pendingTranslations.push_back(std::move(continuation));
                response.targetText = co_await done;
            } else if (m_translators.translationError) {
                throw LocalizedError(*m_translators.translationError);
            } else {
                response.targetText = m_translators.translation(text);
            }
            co_return response;
        }

    private:
        FakeTranslators &m_translators;
        QString m_pair;
    };

    CallLog &m_log;
    platform::MainQueue &m_queue;
};

} // namespace quillora::test
