#pragma once

#include "platform/Continuation.h"
#include "platform/Translators.h"
#include "translation/TranslationConfiguration.h"

#include <QCoroTask>
#include <QObject>

#include <memory>
#include <optional>

namespace quillora {

using namespace Qt::StringLiterals;

/// Why the bridge itself refuses a job.
class TranslationBridgeError : public LocalizedError {
public:
    static TranslationBridgeError busy() {
        return TranslationBridgeError(u"A translation is already running."_s);
    }

private:
    using LocalizedError::LocalizedError;
};

/// Turns the platform's trigger-and-session way of translating into one asynchronous call, one job at a time.
/// A job waits until a TranslationHostView brings a session for its language pair. Main thread only.
class TranslationBridge : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// The translated text as the session gave it. Throws TranslationBridgeError, or the session's own error.
    QCoro::Task<QString> translate(QString text, QString source, QString target);

    /// Makes sure the pair is ready. Throws as `translate`.
    QCoro::Task<> prepare(QString source, QString target);

    /// Runs the waiting job, if there is one. Called by the host view only; never fails.
    QCoro::Task<> performCurrentJob(std::shared_ptr<platform::TranslationSession> session);

    /// The pair a session is wanted for; absent until the first job, then kept.
    const std::optional<TranslationConfiguration> &configuration() const { return m_configuration; }

Q_SIGNALS:
    void configurationChanged();

private:
    struct TranslationJob {
        enum class Kind { translate, prepare };
        Kind kind;
        QString text;
    };

    QCoro::Task<QString> enqueue(TranslationJob job, QString source, QString target);
    void complete(const QString &text);
    void fail(std::exception_ptr error);

    std::optional<TranslationConfiguration> m_configuration;
    std::optional<TranslationJob> m_currentJob;
    std::optional<platform::Continuation<QString>> m_continuation; ///< its presence is what makes us busy
};

} // namespace quillora
