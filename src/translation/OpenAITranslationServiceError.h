#pragma once

#include "platform/LocalizedError.h"

namespace quillora {

using namespace Qt::StringLiterals;

/// What the hosted backend, or its endpoint, did wrong.
class OpenAITranslationServiceError : public LocalizedError {
public:
    enum class Kind {
        server,
        invalidEndpoint,
        invalidResponse,
        emptyTranslation,
    };

    /// A failure that the backend reported; the message is shown as it is, even if it is empty.
    static OpenAITranslationServiceError server(const QString &message) { return {Kind::server, message}; }
    static OpenAITranslationServiceError invalidEndpoint() {
        return {Kind::invalidEndpoint, u"OpenAI backend endpoint is invalid."_s};
    }
    /// What answered does not speak HTTP.
    static OpenAITranslationServiceError invalidResponse() {
        return {Kind::invalidResponse, u"OpenAI backend returned an invalid response."_s};
    }
    static OpenAITranslationServiceError emptyTranslation() {
        return {Kind::emptyTranslation, u"OpenAI backend returned an empty translation."_s};
    }

    Kind kind() const { return m_kind; }

private:
    OpenAITranslationServiceError(Kind kind, const QString &description)
        : LocalizedError(description), m_kind(kind) {}

    Kind m_kind;
};

} // namespace quillora
