#pragma once

#include <QCoroTask>
#include <QString>

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

/// What translates on this computer. Main thread only.
class Translators {
public:
    virtual ~Translators() = default;

    /// A session for the pair of language codes such as "en", by whichever engine serves it. A pair that
    /// cannot be translated gets a session too, whose preparation fails with the reason. Never waits.
    virtual std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) = 0;

    /// The pair may be translated before long: what it takes is got ready in the background, as far as it is
    /// there. Asks nobody, downloads nothing and never fails.
    virtual void warm(const QString &source, const QString &target) = 0;
};

} // namespace quillora::platform
