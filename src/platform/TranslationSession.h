#pragma once

#include <QCoroTask>
#include <QString>

#include <functional>
#include <memory>

namespace quillora::platform {

struct TranslationResponse {
    QString targetText;
};

/// On-device translation of one language pair. Main thread only; both operations suspend while the work goes
/// on elsewhere and throw a LocalizedError. The session must outlive what it is doing.
class TranslationSession {
public:
    virtual ~TranslationSession() = default;

    /// Makes the pair usable; fails if it cannot be.
    virtual QCoro::Task<> prepareTranslation() = 0;
    virtual QCoro::Task<TranslationResponse> translate(QString text) = 0;
};

/// A language pair as a trigger: whatever changes about it asks the provider for a session.
class TranslationConfiguration {
public:
    TranslationConfiguration(QString source, QString target)
        : m_source(std::move(source)), m_target(std::move(target)) {}

    const QString &source() const { return m_source; } ///< a language code such as "en"
    const QString &target() const { return m_target; }

    /// Asks for a new session for the same pair.
    void invalidate() { ++m_version; }

    bool operator==(const TranslationConfiguration &) const = default;

private:
    QString m_source;
    QString m_target;
    quint64 m_version = 0;
};

/// What offers on-device translation. Main thread only.
class TranslationProvider {
public:
    using Action = std::function<void(std::shared_ptr<TranslationSession>)>;

    virtual ~TranslationProvider() = default;

    /// Calls `action` once, in a later turn of the event loop, with a session for the configuration's pair. A
    /// pair that cannot be translated gets a session too, whose preparation fails with the reason.
    virtual void translationTask(const TranslationConfiguration &configuration, Action action) = 0;
};

} // namespace quillora::platform
