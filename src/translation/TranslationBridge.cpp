#include "translation/TranslationBridge.h"

#include "platform/Platform.h"

#include <QPointer>

#include <utility>

namespace quillora {

using platform::Continuation;

QCoro::Task<QString> TranslationBridge::translate(QString text, QString source, QString target) {
    TranslationJob job{TranslationJob::Kind::translate, std::move(text)};
    return enqueue(std::move(job), std::move(source), std::move(target));
}

QCoro::Task<> TranslationBridge::prepare(QString source, QString target) {
    TranslationJob job{TranslationJob::Kind::prepare, {}};
    co_await enqueue(std::move(job), std::move(source), std::move(target));
}

QCoro::Task<QString> TranslationBridge::enqueue(TranslationJob job, QString source, QString target) {
    if (m_continuation)
        throw TranslationBridgeError::busy();

    Continuation<QString> continuation(platform::Platform::current().mainQueue());
    const auto translatedText = continuation.wait();
    m_currentJob = std::move(job);
    m_continuation = std::move(continuation);
    if (m_configuration && m_configuration->source() == source && m_configuration->target() == target)
        m_configuration->invalidate();
    else
        m_configuration = TranslationConfiguration(std::move(source), std::move(target));
    Q_EMIT configurationChanged();
    co_return co_await translatedText;
}

QCoro::Task<> TranslationBridge::performCurrentJob(std::shared_ptr<platform::TranslationSession> session) {
    if (!m_currentJob)
        co_return;
    const QPointer<TranslationBridge> self(this);
    const TranslationJob job = *m_currentJob;
    QString translatedText;
    std::exception_ptr error;
    try {
        co_await session->prepareTranslation();
        if (self && job.kind == TranslationJob::Kind::translate) {
            auto response = co_await session->translate(job.text);
            translatedText = std::move(response.targetText);
        }
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (error)
        fail(error);
    else
        complete(translatedText);
}

void TranslationBridge::complete(const QString &text) {
    if (m_continuation)
        m_continuation->resume(text);
    m_continuation.reset();
    m_currentJob.reset();
}

void TranslationBridge::fail(std::exception_ptr error) {
    if (m_continuation)
        m_continuation->fail(std::move(error));
    m_continuation.reset();
    m_currentJob.reset();
}

} // namespace quillora
