#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"
#include "translation/OpenAITranslationService.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using test::RawHttpServer;
using After = test::RawHttpServer::After;
using Outcome = test::Outcome<QString>;

namespace {

constexpr auto notJson = "The backend's answer is not valid JSON.";

/// Bytes that are hostile in the ways that answers can be: damaged, cut, nested, oversized, mislabelled.
class HostileAnswers {
public:
    explicit HostileAnswers(quint32 seed) : m_random(seed) {}

    QByteArray next() {
        const QByteArray body = damaged(document());
        switch (m_random.bounded(6)) {
        case 0:
            return "HTTP/1.1 200 OK\r\n\r\n" + body;
        case 1:
            return "HTTP/1.1 200 OK\r\nContent-Length: " +
                   QByteArray::number(m_random.bounded(2 * body.size() + 1)) + "\r\n\r\n" + body;
        case 2:
            return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" +
                   QByteArray::number(m_random.bounded(2 * body.size() + 1), 16) + "\r\n" + body +
                   "\r\n0\r\n\r\n";
        case 3:
            return damaged(RawHttpServer::response(200, body));
        case 4:
            return RawHttpServer::response(m_random.bounded(100, 600), body);
        default:
            return RawHttpServer::response(200, body, "Content-Type: image/png; charset=utf-16\r\n");
        }
    }

private:
    QByteArray document() {
        switch (m_random.bounded(8)) {
        case 0:
            return "{\"translation\":\"" + noise(m_random.bounded(2000)) + "\"}";
        case 1:
            return "{\"translation\":" + QByteArray(m_random.bounded(1, 5000), '[') + "\"}";
        case 2:
            return "{\"translation\":" + QByteArray(m_random.bounded(1, 400), '9') + "e" +
                   QByteArray::number(m_random.bounded(100000)) + "}";
        case 3:
            return "{\"translation\":\"\\u" + QByteArray::number(m_random.bounded(0xd800, 0xe000), 16) +
                   "\"}";
        case 4:
            return noise(m_random.bounded(4000));
        case 5:
            return QByteArray("{\"translation\":\"word\"}").repeated(m_random.bounded(4));
        case 6:
            return "{\"translation\":\"word\"}";
        default:
            return "{\"error\":\"" + noise(20) + "\",\"translation\":\"\\u0000\\ufeff\"}";
        }
    }

    QByteArray damaged(QByteArray bytes) {
        for (int i = m_random.bounded(3); i > 0 && !bytes.isEmpty(); --i)
            bytes[m_random.bounded(bytes.size())] = static_cast<char>(m_random.bounded(256));
        if (m_random.bounded(3) == 0)
            bytes.truncate(m_random.bounded(bytes.size() + 1));
        return bytes;
    }

    QByteArray noise(int size) {
        QByteArray bytes(size, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(m_random.bounded(256));
        return bytes;
    }

    QRandomGenerator m_random;
};

/// Those of a translation that a test does not care about have defaults.
struct Arguments {
    QString text = u"hello"_s;
    std::optional<QString> endpointString = {};
    QString clientToken = {};
    QString deviceIdentifier = {};
};

} // namespace

/// The hosted engine's client against a server, over plain sockets.
class HostedTranslationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::RealHttpPlatform>();
        m_server = std::make_unique<RawHttpServer>();
    }
    void cleanup() {
        m_platform.reset();
        m_server.reset();
    }

    void anEndpointWithoutASchemeIsInvalidBeforeAnyNetworkActivity() {
        const QString bare = u"127.0.0.1:%1/v1/translate"_s.arg(m_server->port());
        QCOMPARE(translate({.endpointString = bare})->error(), u"OpenAI backend endpoint is invalid."_s);
        QCOMPARE(translate({.endpointString = QString(u""_s)})->error(),
                 u"OpenAI backend endpoint is invalid."_s);
        QCOMPARE(m_server->connectionCount(), 0);
    }

    void anFtpEndpointFailsLaterInTransport() {
        const QString ftp = u"ftp://127.0.0.1:%1/v1/translate"_s.arg(m_server->port());
        QCOMPARE(translate({.endpointString = ftp})->error(),
                 u"Addresses that begin with \"ftp:\" are not supported; use \"https:\"."_s);
        QCOMPARE(m_server->connectionCount(), 0);
    }

    void aTokenOfOnlySpacesSendsNoAuthorizationHeader() {
        m_server->answer(RawHttpServer::response(200, R"({"translation":"word"})"));
        translate({.clientToken = u"   "_s});
        QVERIFY(!m_server->requests().first().toLower().contains("authorization"));
    }

    void aTokenWithALeadingAndATrailingSpaceIsSentWithBoth() {
        m_server->answer(RawHttpServer::response(200, R"({"translation":"word"})"));
        translate({.clientToken = u" secret "_s});
        QCOMPARE(RawHttpServer::headerLines(m_server->requests().first(), "Authorization"),
                 QList<QByteArray>{"Authorization: Bearer  secret "});
    }

    void anEmptyDeviceIdentifierSendsNeitherDeviceHeader() {
        m_server->answer(RawHttpServer::response(200, R"({"translation":"word"})"));
        translate();
        QVERIFY(!m_server->requests().first().toLower().contains("device-id"));
    }

    void aDeviceIdentifierIsSentInBothDeviceHeaders() {
        m_server->answer(RawHttpServer::response(200, R"({"translation":"word"})"));
        translate({.deviceIdentifier = u"1A-2B"_s});
        const auto &request = m_server->requests().first();
        QCOMPARE(RawHttpServer::headerLines(request, "X-Quillora-Device-Id"),
                 QList<QByteArray>{"X-Quillora-Device-Id: 1A-2B"});
        QCOMPARE(RawHttpServer::headerLines(request, "X-Cobaltwhisk-Device-Id"),
                 QList<QByteArray>{"X-Cobaltwhisk-Device-Id: 1A-2B"});
    }

    void theBodyIsTheTextAndTheLanguages() {
        m_server->answer(RawHttpServer::response(200, R"({"translation":"word"})"));
        translate({.text = u"żółć 😀 \"\\\n\u2028"_s});
        const auto body = QJsonDocument::fromJson(RawHttpServer::body(m_server->requests().first()));
        QCOMPARE(body.object(), (QJsonObject{{u"text"_s, u"żółć 😀 \"\\\n\u2028"_s},
                                             {u"sourceLanguage"_s, u"English"_s},
                                             {u"targetLanguage"_s, u"Kazakh"_s}}));
    }

    void status401WithAJsonErrorShowsExactlyThatMessage() {
        m_server->answer(RawHttpServer::response(401, R"({"error":"Unknown token"})"));
        QCOMPARE(translate()->error(), u"Unknown token"_s);
    }

    void status500WithAnHtmlBodyShowsItsStatus() {
        m_server->answer(RawHttpServer::response(500, "<html>oops</html>", "Content-Type: text/html\r\n"));
        QCOMPARE(translate()->error(), u"Translation backend returned HTTP 500."_s);
    }

    void statuses199And300AreFailures() {
        m_server->answer("HTTP/1.1 199 Odd\r\n\r\n", After::close);
        QCOMPARE(translate()->error(), u"Translation backend returned HTTP 199."_s);
        m_server->answer(RawHttpServer::response(300, R"({"translation":"word"})"));
        QCOMPARE(translate()->error(), u"Translation backend returned HTTP 300."_s);
    }

    void aRedirectToAnotherOriginIsAFailureAndTakesTheTokenNowhere() {
        RawHttpServer other;
        m_server->answer(RawHttpServer::response(307, "", "Location: " + other.url().toEncoded() + "\r\n"));
        QCOMPARE(translate({.clientToken = u"secret"_s, .deviceIdentifier = u"1A-2B"_s})->error(),
                 u"Translation backend returned HTTP 307."_s);
        QCOMPARE(other.connectionCount(), 0);
    }

    void answersAreReadOrRefusedByName_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("translation");
        QTest::addColumn<QString>("error");
        const auto reads = [](const char *name, const QByteArray &answer, const QString &translation) {
            QTest::newRow(name) << answer << translation << QString();
        };
        const auto refuses = [](const char *name, const QByteArray &answer, const char *error) {
            QTest::newRow(name) << answer << QString() << QString::fromLatin1(error);
        };
        const auto ok = [](const QByteArray &body, const QByteArray &headers = {}) {
            return RawHttpServer::response(200, body, headers);
        };
        reads("blanks around the word", ok(R"({"translation":"  word \n"})"), u"word"_s);
        reads("a byte order mark", ok("\xef\xbb\xbf{\"translation\":\"word\"}"), u"word"_s);
        reads("a wrong content type",
              ok(R"({"translation":"word"})", "Content-Type: text/html; charset=koi8-r\r\n"), u"word"_s);
        reads("no content type", ok(R"({"translation":"слово"})"), u"слово"_s);
        reads("escapes", ok("{\"translation\":\"\\u0441\\ud83d\\ude00\\\"\\\\\\/\"}"), u"с😀\"\\/"_s);
        reads("other keys", ok(R"({"a":[1,{"b":null}],"translation":"word","c":1.5e3})"), u"word"_s);
        reads("status 201", RawHttpServer::response(201, R"({"translation":"word"})"), u"word"_s);

        refuses("only spaces", ok(R"({"translation":"   "})"),
                "OpenAI backend returned an empty translation.");
        refuses("no translation key", ok(R"({"text":"word"})"),
                "The backend's answer holds no \"translation\".");
        refuses("an error key in a success", ok(R"({"error":"no"})"),
                "The backend's answer holds no \"translation\".");
        refuses("a translation that is null", ok(R"({"translation":null})"),
                "The backend's answer holds a \"translation\" that is not a text.");
        refuses("a translation that is a number", ok(R"({"translation":7})"),
                "The backend's answer holds a \"translation\" that is not a text.");
        refuses("a JSON array", ok(R"(["translation","word"])"),
                "The backend's answer is not a JSON object.");
        refuses("a JSON string", ok("\"word\""), notJson);
        refuses("an empty 200", ok(""), "The backend's answer is empty.");
        refuses("a 204", "HTTP/1.1 204 No Content\r\n\r\n", "The backend's answer is empty.");
        refuses("invalid UTF-8", ok("{\"translation\":\"w\xc3\x28rd\"}"), notJson);
        refuses("UTF-16", ok(QByteArray("\xff\xfe{\0}\0", 6)), notJson);
        refuses(
            "deeply nested JSON",
            ok("{\"a\":" + QByteArray(100000, '[') + QByteArray(100000, ']') + ",\"translation\":\"word\"}"),
            notJson);
        refuses("a number beyond all bounds", ok(R"({"a":1e999999,"translation":"word"})"), notJson);
        refuses("JSON cut short", ok("{\"translation\":\"wo"), notJson);
        refuses("something after the JSON", ok(R"({"translation":"word"}{})"), notJson);
        refuses("HTML", ok("<html>log in first</html>"), notJson);
        refuses("an answer beyond 1 MiB", ok("{\"translation\":\"" + QByteArray(1024 * 1024, 'x') + "\"}"),
                "The answer from 127.0.0.1 is longer than 1 MiB.");
    }
    void answersAreReadOrRefusedByName() {
        QFETCH(QByteArray, answer);
        QFETCH(QString, translation);
        QFETCH(QString, error);
        m_server->answer(answer);
        const auto outcome = translate();
        QCOMPARE(outcome->error(), error);
        if (error.isEmpty())
            QCOMPARE(outcome->value(), translation);
    }

    void aChunkedAnswerThatBreaksOffIsNeverATranslation() {
        for (int i = 0; i < 20; ++i) {
            m_server->answer(
                "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n14\r\n{\"translation\":\"half \r\n",
                After::close);
            const QString error = translate()->error();
            QVERIFY2(error == QLatin1String(notJson) || error.contains(u"before its answer was complete"),
                     qPrintable(error));
        }
    }

    void aHundredHostileAnswersEndInATranslationOrASentence() {
        HostileAnswers answers(20261120);
        int translations = 0;
        for (int i = 0; i < 100; ++i) {
            m_server->answer(answers.next(), After::close);
            const auto outcome = Outcome::of(call({}));
            // After broken chunks the toolkit sometimes waits on, though the server has hung up.
            if (!m_platform->waitUntil([&] { return outcome->isDone(); }, 2000))
                m_platform->queue.advance(45s);
            QVERIFY(m_platform->settle(outcome));
            QVERIFY(!outcome->error().isNull() || !outcome->value().trimmed().isEmpty());
            translations += outcome->error().isNull() ? 1 : 0;
        }
        QVERIFY(translations > 0 && translations < 50);
        m_server->answer(RawHttpServer::response(200, R"({"translation":"still here"})"));
        QCOMPARE(translate()->value(), u"still here"_s);
    }

    void noErrorHoldsTheTokenOrTheText() {
        const QByteArray big(1024 * 1024 + 1, 'x');
        for (const QByteArray &answer :
             {QByteArray(), QByteArray("junk"), RawHttpServer::response(200, "{"),
              RawHttpServer::response(200, big), RawHttpServer::response(403, "no"),
              QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{")}) {
            m_server->answer(answer, After::close);
            const QString error =
                translate({.text = u"private words"_s, .clientToken = u"secret"_s})->error();
            QVERIFY(!error.isEmpty());
            QVERIFY(!error.contains(u"secret") && !error.contains(u"private"));
        }
    }

    void destroyingTheSessionDuringATranslationFailsIt() {
        const auto outcome = Outcome::of(call({}));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        m_platform->endSession();
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_s);
    }

private:
    QCoro::Task<QString> call(const Arguments &a) {
        return m_service.translate(a.text, u"English"_s, u"Kazakh"_s,
                                   a.endpointString.value_or(m_server->url().toString()), a.clientToken,
                                   a.deviceIdentifier);
    }

    std::shared_ptr<Outcome> translate(const Arguments &arguments = {}) {
        return m_platform->outcomeOf(call(arguments));
    }

    std::unique_ptr<test::RealHttpPlatform> m_platform;
    std::unique_ptr<RawHttpServer> m_server;
    OpenAITranslationService m_service;
};

QTEST_GUILESS_MAIN(HostedTranslationTest)
#include "HostedTranslationTest.moc"
