#pragma once

#include <QCoroTask>
#include <QString>

namespace quillora {

/// The client of the hosted translation backend. Holds no state; calls are independent. Main thread only.
///
/// The backend takes a POST of {"text", "sourceLanguage", "targetLanguage"} and answers {"translation"} with
/// a status from 200 to 299, or {"error"} with any other.
class OpenAITranslationService final {
public:
    /// Opens the connection for a translation that is about to come; sends nothing. Never fails: an endpoint
    /// that leads nowhere fails the translation.
    void prepare(const QString &endpointString) const;

    /// The backend's translation, trimmed and never empty. The languages are display names. The token and the
    /// device identifier are sent as they are, unless they are blank.
    ///
    /// Throws OpenAITranslationServiceError; the HTTP session's error if the backend could not be asked; or a
    /// LocalizedError if the token cannot be sent or the answer cannot be read.
    QCoro::Task<QString> translate(QString text, QString sourceLanguage, QString targetLanguage,
                                   QString endpointString, QString clientToken,
                                   QString deviceIdentifier) const;
};

} // namespace quillora
