#include "translation/OpenAITranslationService.h"

#include "platform/HttpSession.h"
#include "platform/Platform.h"
#include "translation/OpenAITranslationServiceError.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::HttpRequest;
using platform::HttpResponse;
using platform::Platform;

namespace {

using namespace std::chrono_literals;
constexpr std::chrono::milliseconds timeoutInterval = 45s;

struct TranslationRequest {
    QString text;
    QString sourceLanguage;
    QString targetLanguage;

    QByteArray encoded() const {
        return QJsonDocument(QJsonObject{{u"text"_s, text},
                                         {u"sourceLanguage"_s, sourceLanguage},
                                         {u"targetLanguage"_s, targetLanguage}})
            .toJson(QJsonDocument::Compact);
    }
};

/// The text that a JSON object holds under `key`. Throws a LocalizedError if there is no such thing.
QString decodedText(const QByteArray &body, const QString &key) {
    if (body.isEmpty())
        throw LocalizedError(u"The backend's answer is empty."_s);
    QJsonParseError failure;
    const auto document = QJsonDocument::fromJson(body, &failure);
    if (failure.error != QJsonParseError::NoError)
        throw LocalizedError(u"The backend's answer is not valid JSON."_s);
    if (!document.isObject())
        throw LocalizedError(u"The backend's answer is not a JSON object."_s);
    const auto value = document.object().value(key);
    if (value.isUndefined())
        throw LocalizedError(u"The backend's answer holds no \"%1\"."_s.arg(key));
    if (!value.isString())
        throw LocalizedError(u"The backend's answer holds a \"%1\" that is not a text."_s.arg(key));
    return value.toString();
}

struct TranslationResponse {
    QString translation;

    static TranslationResponse decoded(const QByteArray &body) {
        return {decodedText(body, u"translation"_s)};
    }
};

struct ErrorResponse {
    QString error;

    static ErrorResponse decoded(const QByteArray &body) { return {decodedText(body, u"error"_s)}; }
};

/// A host name may look like a scheme ("localhost:8787?key=1"); a port number after the colon tells them
/// apart.
bool namesHostAndPortOnly(const QString &endpoint) {
    static const QRegularExpression hostAndPort(u"^[^/?#:]+:[0-9]{1,5}([/?#]|$)"_s);
    return hostAndPort.match(endpoint).hasMatch();
}

std::optional<QUrl> parsedEndpoint(const QString &endpoint) {
    QUrl url(endpoint, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || namesHostAndPortOnly(endpoint))
        return {};
    return url;
}

bool isBlank(const QString &text) { return text.trimmed().isEmpty(); }

/// A line break in a header value would start a header of its own.
void requireNoControlCharacter(const QString &token) {
    const bool holdsOne = std::any_of(token.cbegin(), token.cend(), [](QChar character) {
        return character.category() == QChar::Other_Control;
    });
    if (holdsOne)
        throw LocalizedError(
            u"The subscription token holds a line break or another control character. Enter it again."_s);
}

HttpRequest post(const QUrl &url, const QString &clientToken, const QString &deviceIdentifier) {
    HttpRequest request;
    request.url = url;
    request.method = "POST";
    request.timeoutInterval = timeoutInterval;
    request.headers.emplaceBack("Content-Type", "application/json");
    if (!isBlank(clientToken)) {
        requireNoControlCharacter(clientToken);
        request.headers.emplaceBack("Authorization", "Bearer " + clientToken.toUtf8());
    }
    if (!isBlank(deviceIdentifier)) {
        request.headers.emplaceBack("X-Quillora-Device-Id", deviceIdentifier.toUtf8());
        request.headers.emplaceBack("X-Cobaltwhisk-Device-Id", deviceIdentifier.toUtf8());
    }
    return request;
}

bool isSuccess(const HttpResponse &response) {
    return response.statusCode >= 200 && response.statusCode <= 299;
}

OpenAITranslationServiceError reportedFailure(const HttpResponse &response) {
    try {
        return OpenAITranslationServiceError::server(ErrorResponse::decoded(response.body).error);
    } catch (const LocalizedError &) {
        return OpenAITranslationServiceError::server(
            u"Translation backend returned HTTP %1."_s.arg(response.statusCode));
    }
}

} // namespace

void OpenAITranslationService::prepare(const QString &endpointString) const {
    if (const auto url = parsedEndpoint(endpointString))
        Platform::current().httpSession().prepare(*url);
}

QCoro::Task<QString> OpenAITranslationService::translate(QString text, QString sourceLanguage,
                                                         QString targetLanguage, QString endpointString,
                                                         QString clientToken,
                                                         QString deviceIdentifier) const {
    const auto url = parsedEndpoint(endpointString);
    if (!url)
        throw OpenAITranslationServiceError::invalidEndpoint();
    auto request = post(*url, clientToken, deviceIdentifier);
    request.body = TranslationRequest{text, sourceLanguage, targetLanguage}.encoded();

    const auto response = co_await Platform::current().httpSession().data(std::move(request));
    if (!response.isHttp)
        throw OpenAITranslationServiceError::invalidResponse();
    if (!isSuccess(response))
        throw reportedFailure(response);
    const QString translation = TranslationResponse::decoded(response.body).translation.trimmed();
    if (translation.isEmpty())
        throw OpenAITranslationServiceError::emptyTranslation();
    co_return translation;
}

} // namespace quillora
