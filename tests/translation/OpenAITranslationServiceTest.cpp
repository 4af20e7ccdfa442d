#include "translation/OpenAITranslationService.h"
#include "fakes/FakePlatform.h"
#include "support/Outcome.h"
#include "translation/OpenAITranslationServiceError.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::Outcome;
using Kind = OpenAITranslationServiceError::Kind;
using Headers = QList<std::pair<QByteArray, QByteArray>>;

namespace {

/// Those of a translation that a test does not care about have defaults.
struct Arguments {
    QString text = u"hello"_s;
    QString sourceLanguage = u"English"_s;
    QString endpointString = u"https://api.example.org/v1/translate"_s;
    QString clientToken = {};
    QString deviceIdentifier = {};
};

} // namespace

class OpenAITranslationServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<test::FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    // The request.

    void theRequestIsAPostOfTheTextAndTheLanguages() {
        translate({.text = u" say \"hi\"\n"_s, .sourceLanguage = u"Español (México)"_s});
        const auto request = sent();
        QCOMPARE(request.url.toString(), u"https://api.example.org/v1/translate"_s);
        QCOMPARE(request.method, "POST");
        QCOMPARE(request.cachePolicy, platform::HttpCachePolicy::useProtocolCachePolicy);
        QCOMPARE(request.timeoutInterval, std::chrono::seconds(45));
        QCOMPARE(QJsonDocument::fromJson(request.body).object(),
                 (QJsonObject{{u"text"_s, u" say \"hi\"\n"_s},
                              {u"sourceLanguage"_s, u"Español (México)"_s},
                              {u"targetLanguage"_s, u"Kazakh"_s}}));
    }

    void theHeadersStandInTheirOrder() {
        translate({.clientToken = u"secret"_s, .deviceIdentifier = u"1A-2B"_s});
        QCOMPARE(sent().headers, (Headers{{"Content-Type", "application/json"},
                                          {"Authorization", "Bearer secret"},
                                          {"X-Quillora-Device-Id", "1A-2B"},
                                          {"X-Cobaltwhisk-Device-Id", "1A-2B"}}));
    }

    void aTokenOfOnlySpacesSendsNoAuthorization_data() {
        QTest::addColumn<QString>("token");
        QTest::newRow("empty") << QString();
        QTest::newRow("spaces") << u"   "_s;
        QTest::newRow("line breaks") << u" \r\n\t"_s;
        QTest::newRow("no-break space") << u"\u00a0\u2003"_s;
    }
    void aTokenOfOnlySpacesSendsNoAuthorization() {
        QFETCH(QString, token);
        translate({.clientToken = token});
        QCOMPARE(sent().headers, (Headers{{"Content-Type", "application/json"}}));
    }

    void aTokenIsSentWithItsSpaces() {
        translate({.clientToken = u" secret "_s});
        QCOMPARE(sent().headers.last(),
                 (std::pair<QByteArray, QByteArray>("Authorization", "Bearer  secret ")));
    }

    void aTokenBeyondAsciiIsSentAsUtf8() {
        translate({.clientToken = u"ключ"_s});
        QCOMPARE(sent().headers.last().second, "Bearer ключ");
    }

    void aTokenThatHoldsAControlCharacterIsRefusedBeforeAnythingIsSent_data() {
        QTest::addColumn<QString>("token");
        for (const char16_t character : {u'\0', u'\t', u'\n', u'\r', u'\x1b', u'\x7f', u'\x85'})
            QTest::newRow(QByteArray::number(character, 16).constData())
                << u"sec"_s + QChar(character) + u"ret"_s;
        QTest::newRow("a header of its own") << u"secret\r\nX-Smuggled: yes"_s;
    }
    void aTokenThatHoldsAControlCharacterIsRefusedBeforeAnythingIsSent() {
        QFETCH(QString, token);
        const auto outcome = translate({.clientToken = token});
        QCOMPARE(
            outcome->error(),
            u"The subscription token holds a line break or another control character. Enter it again."_s);
        QVERIFY(m_platform->http.requests.empty());
    }

    void anEmptyDeviceIdentifierSendsNeitherDeviceHeader() {
        translate({.clientToken = u"secret"_s, .deviceIdentifier = u" \n"_s});
        QCOMPARE(sent().headers,
                 (Headers{{"Content-Type", "application/json"}, {"Authorization", "Bearer secret"}}));
    }

    void aDeviceIdentifierIsSentTwiceAndUntrimmed() {
        translate({.deviceIdentifier = u" 1A-2B "_s});
        QCOMPARE(sent().headers, (Headers{{"Content-Type", "application/json"},
                                          {"X-Quillora-Device-Id", " 1A-2B "},
                                          {"X-Cobaltwhisk-Device-Id", " 1A-2B "}}));
    }

    void anEndpointWithoutASchemeIsInvalidBeforeAnythingIsSent_data() {
        QTest::addColumn<QString>("endpoint");
        for (const char *endpoint : {"",
                                     "127.0.0.1:8787/v1/translate",
                                     "localhost:8787/v1/translate",
                                     "api.example.org:443",
                                     "api.example.org/v1/translate",
                                     "api.example.org",
                                     "//api.example.org/v1",
                                     "/v1/translate",
                                     "[::1]:8787/v1",
                                     "https//api.example.org",
                                     "://api.example.org",
                                     " https://api.example.org",
                                     "https://api.example.org/ v1",
                                     "https://api example.org/",
                                     "https://api.example.org:port/",
                                     "https://[::1/",
                                     "https://a/%zz",
                                     "?",
                                     "#",
                                     "localhost:8787?key=1",
                                     "localhost:8787#x",
                                     "LOCALHOST:8787",
                                     "LOCALHOST:8787/v1",
                                     "LocalHost:8787?key=1",
                                     "api.example.org:443?a=b:c",
                                     "api.example.org:443#/v1",
                                     "127.0.0.1:8787?key=1",
                                     "[::1]:8787?key=1",
                                     "host:1",
                                     "host:1?",
                                     "host:65535#",
                                     "user@host:80/v1",
                                     "user@host:80?key=1",
                                     "?http://host:1",
                                     "#http://host:1"})
            QTest::newRow(*endpoint ? endpoint : "empty") << QString::fromLatin1(endpoint);
    }
    void anEndpointWithoutASchemeIsInvalidBeforeAnythingIsSent() {
        QFETCH(QString, endpoint);
        const auto outcome = translate({.endpointString = endpoint, .clientToken = u"to\nken"_s});
        QCOMPARE(outcome->error(), u"OpenAI backend endpoint is invalid."_s);
        QCOMPARE(m_kind, Kind::invalidEndpoint);
        QVERIFY(m_platform->http.requests.empty());
    }

    void anySchemeIsLeftToTheSession_data() {
        QTest::addColumn<QString>("endpoint");
        for (const char *endpoint : {"ftp://api.example.org/v1", "ftp:", "file:///v1", "mailto:a@example.org",
                                     "HTTPS://API.example.org/v1", "http://127.0.0.1:8787/v1/translate",
                                     "https://[::1]:8787/v1", "https://api.example.org/a%20b?c=d#e"})
            QTest::newRow(endpoint) << QString::fromLatin1(endpoint);
    }
    void anySchemeIsLeftToTheSession() {
        QFETCH(QString, endpoint);
        translate({.endpointString = endpoint});
        QCOMPARE(sent().url, QUrl(endpoint, QUrl::StrictMode));
    }

    // The answer.

    void theTranslationIsReturnedTrimmed() {
        m_platform->http.response.body =
            R"({"translation":"  word \n","model":"x","usage":{"tokens":[1,2]}})";
        QCOMPARE(translate()->value(), u"word"_s);
    }

    void everyStatusOfTheTwoHundredsIsASuccess() {
        for (int status = 200; status <= 299; ++status) {
            m_platform->http.response.statusCode = status;
            QCOMPARE(translate()->value(), u"translated"_s);
        }
    }

    void statusesBesideTheTwoHundredsAreFailures() {
        for (const int status : {-1, 0, 1, 100, 199, 300, 304, 400, 999}) {
            m_platform->http.response.statusCode = status;
            QCOMPARE(translate()->error(), u"Translation backend returned HTTP %1."_s.arg(status));
            QCOMPARE(m_kind, Kind::server);
        }
    }

    void aTranslationOfOnlySpacesIsEmpty() {
        for (const char *blank : {"", "   ", "\\n\\t ", "\\u00a0\\u2028"}) {
            m_platform->http.response.body = QByteArray("{\"translation\":\"") + blank + "\"}";
            QCOMPARE(translate()->error(), u"OpenAI backend returned an empty translation."_s);
            QCOMPARE(m_kind, Kind::emptyTranslation);
        }
    }

    void whatIsNotHttpIsAnInvalidResponse() {
        m_platform->http.response.isHttp = false;
        QCOMPARE(translate()->error(), u"OpenAI backend returned an invalid response."_s);
        QCOMPARE(m_kind, Kind::invalidResponse);
    }

    void theBackendsErrorIsShownAsItIs() {
        m_platform->http.response = {true, 401, R"({"error":" Token expired.\n","code":7})"};
        QCOMPARE(translate()->error(), u" Token expired.\n"_s);
        QCOMPARE(m_kind, Kind::server);
    }

    void anEmptyErrorOfTheBackendIsShownEmpty() {
        m_platform->http.response = {true, 401, R"({"error":""})"};
        const auto outcome = translate();
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(m_kind, Kind::server);
    }

    void aFailureWithoutAnErrorShowsItsStatus_data() {
        QTest::addColumn<QByteArray>("body");
        for (const char *body : {"", "<html><h1>Internal Server Error</h1></html>", "{}", R"({"error":null})",
                                 R"({"error":{"message":"no"}})", R"(["error"])", R"({"Error":"no"})",
                                 "{\"error\":\"cut", R"({"translation":"word"})"})
            QTest::newRow(*body ? body : "empty") << QByteArray(body);
    }
    void aFailureWithoutAnErrorShowsItsStatus() {
        QFETCH(QByteArray, body);
        m_platform->http.response = {true, 500, body};
        QCOMPARE(translate()->error(), u"Translation backend returned HTTP 500."_s);
        QCOMPARE(m_kind, Kind::server);
    }

    void aTransportErrorPassesThroughUnchanged() {
        m_platform->http.transportError = u"Could not connect to api.example.org: connection refused."_s;
        QCOMPARE(translate()->error(), *m_platform->http.transportError);
        QVERIFY(!m_kind);
    }

    void callsAreIndependent() {
        m_platform->http.repliesByHand = true;
        const auto first = Outcome<QString>::of(call({}));
        const auto second = Outcome<QString>::of(call({}));
        m_platform->http.pending[1].resume({true, 200, R"({"translation":"two"})"});
        m_platform->http.pending[0].resume({true, 200, R"({"translation":"one"})"});
        m_platform->run();
        QCOMPARE(first->value(), u"one"_s);
        QCOMPARE(second->value(), u"two"_s);
    }

    void aFailedCallLeavesNothingBehind() {
        m_platform->http.response.statusCode = 500;
        translate();
        m_platform->http.response.statusCode = 200;
        QCOMPARE(translate()->value(), u"translated"_s);
        QCOMPARE(m_platform->http.requests.size(), size_t(2));
    }

private:
    QCoro::Task<QString> call(const Arguments &a) {
        return m_service.translate(a.text, a.sourceLanguage, u"Kazakh"_s, a.endpointString, a.clientToken,
                                   a.deviceIdentifier);
    }

    QCoro::Task<QString> callNotingTheKind(Arguments a) {
        try {
            co_return co_await call(a);
        } catch (const OpenAITranslationServiceError &error) {
            m_kind = error.kind();
            throw;
        }
    }

    std::shared_ptr<Outcome<QString>> translate(const Arguments &arguments = {}) {
        m_kind.reset();
        const auto outcome = Outcome<QString>::of(callNotingTheKind(arguments));
        m_platform->run();
        return outcome;
    }

    const platform::HttpRequest &sent() const { return m_platform->http.requests.back(); }

    std::unique_ptr<test::FakePlatform> m_platform;
    OpenAITranslationService m_service;
    std::optional<Kind> m_kind;
};

QTEST_GUILESS_MAIN(OpenAITranslationServiceTest)
#include "OpenAITranslationServiceTest.moc"
