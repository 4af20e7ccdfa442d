#pragma once

#include <QCoroTask>
#include <QString>

namespace quillora {

/// The client of the hosted translation backend. Holds no state; calls are independent. Main thread only.
class OpenAITranslationService {
public:
    /// The backend's translation. The languages are display names. Throws a LocalizedError.
    QCoro::Task<QString> translate(QString text, QString sourceLanguage, QString targetLanguage,
                                   QString endpointString, QString clientToken,
                                   QString deviceIdentifier) const;
};

} // namespace quillora
