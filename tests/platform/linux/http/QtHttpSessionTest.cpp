#include "platform/linux/http/QtHttpSession.h"
#include "support/OwnTime.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::HttpRequest;
using platform::HttpResponse;
using test::RawHttpServer;
using After = test::RawHttpServer::After;
using Outcome = test::Outcome<HttpResponse>;

/// What one server's scripted bytes make of a request, over plain sockets.
class QtHttpSessionTest : public QObject {
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

    // What is sent.

    void aRequestArrivesByteForByte() {
        m_server->answer(RawHttpServer::response(200, "{}"));
        auto request = post(m_server->url());
        request.headers.append({QByteArray("Authorization"), QByteArray("Bearer  blank on both sides ")});
        request.headers.append({QByteArray("X-Quillora-Device-Id"), QByteArray("1A-2B")});
        request.headers.append({QByteArray("X-Cobaltwhisk-Device-Id"), QByteArray("1A-2B")});
        ask(request);
        QCOMPARE(m_server->requests(), QList<QByteArray>{"POST /v1/translate HTTP/1.1\r\n"
                                                         "Host: 127.0.0.1:" +
                                                         QByteArray::number(m_server->port()) +
                                                         "\r\n"
                                                         "User-Agent: Quillora\r\n"
                                                         "Accept-Language: en\r\n"
                                                         "Accept-Encoding: identity\r\n"
                                                         "Content-Type: application/json\r\n"
                                                         "Authorization: Bearer  blank on both sides \r\n"
                                                         "X-Quillora-Device-Id: 1A-2B\r\n"
                                                         "X-Cobaltwhisk-Device-Id: 1A-2B\r\n"
                                                         "Content-Length: 13\r\n"
                                                         "Connection: Keep-Alive\r\n"
                                                         "\r\n"
                                                         "{\"text\":\"hi\"}"});
    }

    void pathAndQueryArriveAsTheyWereTyped() {
        m_server->answer(RawHttpServer::response(200, "{}"));
        ask(post(QUrl(m_server->url().toString() + u"/a%20b%2Fc;d?q=%C3%A9&r=1+2"_s, QUrl::StrictMode)));
        QCOMPARE(m_server->requests().first().split('\r').first(),
                 "POST /v1/translate/a%20b%2Fc;d?q=%C3%A9&r=1+2 HTTP/1.1");
    }

    void aLargeBodyArrivesWhole() {
        m_server->answer(RawHttpServer::response(200, "{}"));
        auto request = post(m_server->url());
        request.body = QByteArray(3'000'000, 'x');
        QCOMPARE(ask(request)->value().statusCode, 200);
        QCOMPARE(RawHttpServer::body(m_server->requests().first()), request.body);
    }

    void aHeaderThatHoldsALineBreakIsNotSent() {
        auto request = post(m_server->url());
        request.headers.append({QByteArray("X-Quillora-Device-Id"), QByteArray("a\r\nX-Smuggled: yes")});
        QCOMPARE(ask(request)->error(), u"The request holds a control character where none may be."_s);
        QCOMPARE(m_server->connectionCount(), 0);
    }

    void cookiesAreNeitherKeptNorSent() {
        m_server->answer(RawHttpServer::response(200, "{}", "Set-Cookie: track=me; Path=/\r\n"));
        m_server->answer(RawHttpServer::response(200, "{}"));
        ask(post(m_server->url()));
        ask(post(m_server->url()));
        QVERIFY(!m_server->requests().last().contains("track"));
    }

    // What comes back.

    void everyStatusIsGivenBackWithItsBody_data() {
        QTest::addColumn<int>("status");
        for (const int status : {200, 201, 202, 203, 206, 226, 299, 300, 301, 302, 303, 305, 306, 307,
                                 308, 399, 400, 401, 402, 403, 404, 405, 406, 407, 408, 409, 410, 418,
                                 422, 429, 451, 499, 500, 501, 502, 503, 504, 511, 599, 600, 999})
            QTest::newRow(QByteArray::number(status).constData()) << status;
    }
    void everyStatusIsGivenBackWithItsBody() {
        QFETCH(int, status);
        m_server->answer(RawHttpServer::response(status, "{\"error\":\"why\"}"));
        const auto outcome = ask(post(m_server->url()));
        QVERIFY(outcome->value().isHttp);
        QCOMPARE(outcome->value().statusCode, status);
        QCOMPARE(outcome->value().body, "{\"error\":\"why\"}");
    }

    void noContentHasNoBody() {
        m_server->answer("HTTP/1.1 204 No Content\r\n\r\n");
        const auto outcome = ask(post(m_server->url()));
        QCOMPARE(outcome->value().statusCode, 204);
        QCOMPARE(outcome->value().body, "");
    }

    void anInformationalContinueIsPassedOver() {
        m_server->answer("HTTP/1.1 100 Continue\r\n\r\n" + RawHttpServer::response(200, "after"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "after");
    }

    void status199IsGivenBackAsItIs() {
        m_server->answer("HTTP/1.1 199 Odd\r\n\r\n", After::close);
        QCOMPARE(ask(post(m_server->url()))->value().statusCode, 199);
    }

    void aChallengeIsAnAnswerAndIsNotTakenUp_data() {
        QTest::addColumn<QByteArray>("challenge");
        QTest::newRow("basic") << QByteArray("Basic realm=\"x\"");
        QTest::newRow("bearer") << QByteArray("Bearer error=\"invalid_token\"");
        QTest::newRow("negotiate") << QByteArray("Negotiate");
        QTest::newRow("digest") << QByteArray("Digest realm=\"x\", nonce=\"y\"");
    }
    void aChallengeIsAnAnswerAndIsNotTakenUp() {
        QFETCH(QByteArray, challenge);
        m_server->answer(RawHttpServer::response(401, "{\"error\":\"bad token\"}",
                                                 "WWW-Authenticate: " + challenge + "\r\n"));
        const auto outcome = ask(post(m_server->url()));
        QCOMPARE(outcome->value().statusCode, 401);
        QCOMPARE(outcome->value().body, "{\"error\":\"bad token\"}");
        QCOMPARE(m_server->requests().size(), 1);
    }

    void aProxyChallengeOfTheServerItselfIsAnAnswer() {
        m_server->answer(
            RawHttpServer::response(407, "{\"error\":\"odd\"}", "Proxy-Authenticate: Basic realm=\"x\"\r\n"));
        QCOMPARE(ask(post(m_server->url()))->value().statusCode, 407);
    }

    void bodiesOfAllFramingsAreGivenBack_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("chunked") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                               "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\n\r\n")
                                 << QByteArray("abcde");
        QTest::newRow("until the end") << QByteArray("HTTP/1.1 200 OK\r\n\r\nabcde") << QByteArray("abcde");
        QTest::newRow("HTTP 1.0") << QByteArray("HTTP/1.0 200 OK\r\n\r\nabcde") << QByteArray("abcde");
        QTest::newRow("no reason") << QByteArray("HTTP/1.1 200\r\nContent-Length: 2\r\n\r\nab")
                                   << QByteArray("ab");
        QTest::newRow("bytes as they are")
            << RawHttpServer::response(200, QByteArray("\0\xff\xfe\r\n\r\n", 7))
            << QByteArray("\0\xff\xfe\r\n\r\n", 7);
        QTest::newRow("an encoding we did not ask for")
            << RawHttpServer::response(200, "\x1f\x8b\x08", "Content-Encoding: gzip\r\n")
            << QByteArray("\x1f\x8b\x08");
    }
    void bodiesOfAllFramingsAreGivenBack() {
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, body);
        m_server->answer(answer, After::close);
        QCOMPARE(ask(post(m_server->url()))->value().body, body);
    }

    void anAnswerOfOneMebibyteIsRead() {
        const QByteArray body(1024 * 1024, 'x');
        m_server->answer(RawHttpServer::response(200, body));
        QCOMPARE(ask(post(m_server->url()))->value().body, body);
    }

    void aLongerAnswerIsAnError_data() {
        QTest::addColumn<QByteArray>("answer");
        const QByteArray body(1024 * 1024 + 1, 'x');
        QTest::newRow("with its length") << RawHttpServer::response(200, body);
        QTest::newRow("until the end") << "HTTP/1.1 200 OK\r\n\r\n" + body;
        QTest::newRow("chunked") << "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n100001\r\n" + body +
                                        "\r\n0\r\n\r\n";
        QTest::newRow("of a failure") << RawHttpServer::response(500, body);
    }
    void aLongerAnswerIsAnError() {
        QFETCH(QByteArray, answer);
        m_server->answer(answer);
        QCOMPARE(ask(post(m_server->url()))->error(), u"The answer from 127.0.0.1 is longer than 1 MiB."_s);
    }

    void anEndlessAnswerIsGivenUpAfterOneMebibyte() {
        m_server->answer("HTTP/1.1 200 OK\r\n\r\n");
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        QVERIFY(m_platform->waitUntil([&] {
            if (!outcome->isDone())
                m_server->send(QByteArray(64 * 1024, 'x'));
            return outcome->isDone();
        }));
        QCOMPARE(outcome->error(), u"The answer from 127.0.0.1 is longer than 1 MiB."_s);
    }

    // Redirects.

    void redirectsOfTheSameOriginKeepMethodHeadersAndBody_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("location");
        for (const int status : {307, 308}) {
            const QByteArray name = QByteArray::number(status);
            QTest::newRow((name + " absolute").constData()) << status << u"http://127.0.0.1:%1/v2/other"_s;
            QTest::newRow((name + " relative").constData()) << status << u"/v2/other"_s;
            QTest::newRow((name + " without scheme").constData()) << status << u"//127.0.0.1:%1/v2/other"_s;
        }
    }
    void redirectsOfTheSameOriginKeepMethodHeadersAndBody() {
        QFETCH(int, status);
        QFETCH(QString, location);
        redirectTo(status, location.contains(u'%') ? location.arg(m_server->port()) : location);
        m_server->answer(RawHttpServer::response(200, "moved"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "moved");
        QCOMPARE(m_server->requests().size(), 2);
        QByteArray first = m_server->requests().first();
        QCOMPARE(m_server->requests().last(), first.replace("/v1/translate", "/v2/other"));
    }

    void anyOtherRedirectIsTheAnswer_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("location");
        for (const int status : {300, 301, 302, 303, 304, 305, 306, 307, 308}) {
            const QByteArray name = QByteArray::number(status);
            QTest::newRow((name + " other host").constData()) << status << u"http://localhost:%1/"_s;
            QTest::newRow((name + " other port").constData()) << status << u"http://127.0.0.1:%2/"_s;
            QTest::newRow((name + " other scheme").constData()) << status << u"https://127.0.0.1:%1/"_s;
            QTest::newRow((name + " no HTTP").constData()) << status << u"file:///etc/hostname"_s;
            QTest::newRow((name + " host in disguise").constData())
                << status << u"http://127.0.0.1:%1@localhost:%2/"_s;
            QTest::newRow((name + " none").constData()) << status << QString();
            QTest::newRow((name + " broken").constData()) << status << u"http://[/"_s;
            if (status < 307)
                QTest::newRow((name + " same origin").constData()) << status << u"/v2/other"_s;
        }
    }
    void anyOtherRedirectIsTheAnswer() {
        QFETCH(int, status);
        QFETCH(QString, location);
        RawHttpServer other;
        location.replace(u"%1"_s, QString::number(m_server->port()));
        location.replace(u"%2"_s, QString::number(other.port()));
        redirectTo(status, location);
        const auto outcome = ask(post(m_server->url()));
        QCOMPARE(outcome->value().statusCode, status);
        QCOMPARE(m_server->requests().size(), 1);
        QCOMPARE(m_server->connectionCount(), 1);
        QCOMPARE(other.connectionCount(), 0);
    }

    void aSecondHopToAnotherOriginIsNotTaken() {
        RawHttpServer other;
        redirectTo(307, u"/v2"_s);
        redirectTo(307, other.url().toString());
        QCOMPARE(ask(post(m_server->url()))->value().statusCode, 307);
        QCOMPARE(m_server->requests().size(), 2);
        QCOMPARE(other.connectionCount(), 0);
    }

    void redirectsWithoutEndAreAnError() {
        for (int i = 0; i < 20; ++i)
            redirectTo(308, u"/again"_s);
        QCOMPARE(ask(post(m_server->url()))->error(), u"127.0.0.1 redirects without end."_s);
        QCOMPARE(m_server->requests().size(), 6);
    }

    // What goes wrong.

    void otherSchemesFailInASentence_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("error");
        const auto unsupported = u"Addresses that begin with \"%1:\" are not supported; use \"https:\"."_s;
        QTest::newRow("ftp") << u"ftp://127.0.0.1/v1"_s << unsupported.arg(u"ftp");
        QTest::newRow("file") << u"file:///etc/hostname"_s << unsupported.arg(u"file");
        QTest::newRow("data") << u"data:,hello"_s << unsupported.arg(u"data");
        QTest::newRow("mailto") << u"mailto:a@b.example"_s << unsupported.arg(u"mailto");
        QTest::newRow("no host") << u"https:///v1"_s << u"The address names no host."_s;
    }
    void otherSchemesFailInASentence() {
        QFETCH(QString, url);
        QFETCH(QString, error);
        QCOMPARE(ask(post(QUrl(url)))->error(), error);
    }

    void aClosedPortIsAConnectionRefused() {
        const QUrl url = m_server->url();
        m_server = std::make_unique<RawHttpServer>(); // another port
        if (m_server->url() != url)
            QCOMPARE(ask(post(url))->error(), u"Could not connect to 127.0.0.1: connection refused."_s);
    }

    void anAnswerThatBreaksOffIsAnError_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<After>("after");
        QTest::addColumn<QString>("error");
        const QString unfinished = u"127.0.0.1 closed the connection before its answer was complete."_s;
        const QString none = u"127.0.0.1 closed the connection without a valid answer."_s;
        QTest::newRow("closed at once") << QByteArray() << After::close << none;
        QTest::newRow("reset at once") << QByteArray() << After::reset << none;
        QTest::newRow("in the status line") << QByteArray("HTTP/1.1 2") << After::close << none;
        QTest::newRow("in the headers")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Le") << After::close << none;
        QTest::newRow("a body cut short")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{\"tr") << After::close << unfinished;
        QTest::newRow("a body cut short of a failure")
            << QByteArray("HTTP/1.1 500 No\r\nContent-Length: 9\r\n\r\n{\"er") << After::close << unfinished;
        QTest::newRow("a reset in mid-body")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{\"tr") << After::reset << unfinished;
        QTest::newRow("no HTTP at all") << QByteArray("SSH-2.0-OpenSSH_9.2\r\n") << After::close << none;
    }
    void anAnswerThatBreaksOffIsAnError() {
        QFETCH(QByteArray, answer);
        QFETCH(After, after);
        QFETCH(QString, error);
        m_server->answer(answer, after);
        QCOMPARE(ask(post(m_server->url()))->error(), error);
        QCOMPARE(m_server->requests().size(), 1);
    }

    void anAnswerThatOvertakesItsRequestAndBreaksOffIsAnError_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("of a length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{\"tr");
        QTest::newRow("of a length, a failure")
            << QByteArray("HTTP/1.1 413 No\r\nContent-Length: 9\r\n\r\n{\"er");
        QTest::newRow("in chunks") << QByteArray(
            "HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n{\"e\r\n");
    }
    void anAnswerThatOvertakesItsRequestAndBreaksOffIsAnError() {
        QFETCH(QByteArray, answer);
        QCOMPARE(overtakeItsRequest(answer)->error(),
                 u"127.0.0.1 closed the connection before its answer was complete."_s);
        QCOMPARE(m_server->requests().size(), 1);
    }

    void aWholeAnswerMayOvertakeItsRequest_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("until the end") << QByteArray("HTTP/1.1 200 OK\r\n\r\nabcde");
        QTest::newRow("of a length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabcde");
        QTest::newRow("of a length, a failure")
            << QByteArray("HTTP/1.1 401 No\r\nConnection: close\r\nContent-Length: 5\r\n\r\nabcde");
        QTest::newRow("in chunks") << QByteArray(
            "HTTP/1.1 415 No\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n0\r\n\r\n");
    }
    void aWholeAnswerMayOvertakeItsRequest() {
        QFETCH(QByteArray, answer);
        const auto outcome = overtakeItsRequest(answer);
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(outcome->value().body, "abcde");
        QCOMPARE(m_server->requests().size(), 1);
    }

    // Time.

    void silenceBeforeTheAnswerEndsTheRequestAfterItsInterval() {
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        m_platform->queue.advance(45s - 1ms);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1ms);
        QCOMPARE(outcome->error(), u"127.0.0.1 sent nothing for 45 seconds."_s);
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
    }

    void slowHeadersThatNeverEndAreSilence() {
        m_server->answer("HTTP/1.1 200 OK\r\n");
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        for (int i = 0; i < 3; ++i) {
            m_platform->queue.advance(15s);
            m_server->send("X-Drip: drop\r\n");
        }
        QCOMPARE(outcome->error(), u"127.0.0.1 sent nothing for 45 seconds."_s);
    }

    void headersWithoutEndAreSilenceAndHoldUpTheEndForSecondsAtMost() {
        m_server->answer("HTTP/1.1 200 OK\r\nX-Long: " + QByteArray(8'000'000, 'x'));
        const auto outcome = start(post(m_server->url()));
        // The toolkit's thread is at it from now on, and reads 2 MB a second.
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        const test::OwnTime untilFailure;
        m_platform->queue.advance(45s);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY2(untilFailure.elapsed() < 500, "the program was held up");
        QCOMPARE(outcome->error(), u"127.0.0.1 sent nothing for 45 seconds."_s);
        const test::OwnTime untilEnd;
        m_platform->session.reset();
        QVERIFY(untilEnd.elapsed() < 10000); // the toolkit waits at most 5 s for its thread
    }

    void slowHeadersThatEndInTimeAreRead() {
        m_server->answer("HTTP/1.1 200 OK\r\n");
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        m_platform->queue.advance(44s);
        m_server->send("Content-Length: 2\r\n\r\nok");
        QVERIFY(m_platform->settle(outcome));
        QCOMPARE(outcome->value().body, "ok");
    }

    void dataThatArrivesRestartsTheInterval() {
        m_server->answer("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n");
        const auto outcome = start(post(m_server->url()));
        m_platform->run(); // no proxy is looked for any more
        for (const auto *byte : {"a", "b", "c"}) {
            const auto before = nextDeadline();
            if (*byte != 'a')
                QVERIFY(!outcome->isDone());
            QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
            m_platform->queue.advance(30s);
            m_server->send(byte);
            QVERIFY(m_platform->waitUntil([&] { return outcome->isDone() || nextDeadline() > before; }));
        }
        QVERIFY(m_platform->settle(outcome));
        QCOMPARE(outcome->value().body, "abc");
    }

    void aBodyThatStopsIsSilence() {
        m_server->answer("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\na");
        const auto outcome = start(post(m_server->url()));
        m_platform->run(); // no proxy is looked for any more
        const auto before = nextDeadline();
        m_platform->queue.advance(1s);
        QVERIFY(m_platform->waitUntil([&] { return nextDeadline() > before; }));
        m_platform->queue.advance(44s);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1s);
        QCOMPARE(outcome->error(), u"127.0.0.1 sent nothing for 45 seconds."_s);
    }

    void aServerThatDripsIsGivenUpAfterTwoMinutes() {
        m_server->answer("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        while (!outcome->isDone()) {
            m_platform->queue.advance(10s);
            const auto before = nextDeadline();
            m_server->send("x");
            QVERIFY(m_platform->waitUntil(
                [&] { return outcome->isDone() || nextDeadline() > before || before == 120s; }));
        }
        QCOMPARE(m_platform->queue.now(), 120s);
        QCOMPARE(outcome->error(), u"127.0.0.1 did not complete its answer within 120 seconds."_s);
    }

    void nothingIsLeftOnTheClockAfterAnAnswer() {
        m_server->answer(RawHttpServer::response(200, "{}"));
        ask(post(m_server->url()));
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

    // Connections.

    void aBodyArrivesAtMostOnceWhateverBecomesOfItsConnection_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<qsizetype>("breakOff");
        QTest::addColumn<After>("after");
        QTest::addColumn<bool>("isOpenedInAdvance");
        constexpr qsizetype small = 100;
        constexpr qsizetype large = 8'000'000; // more than the system's buffers between here and there
        for (const auto &[after, name] : {std::pair(After::close, "closed"), {After::reset, "reset"}}) {
            const auto row = [&](const char *when, qsizetype size, qsizetype bytes) {
                for (const bool isOpenedInAdvance : {false, true}) {
                    const QString title =
                        u"%1 %2%3"_s.arg(QLatin1StringView(name), QLatin1StringView(when),
                                         isOpenedInAdvance ? u", opened in advance"_s : QString());
                    QTest::newRow(qPrintable(title)) << size << bytes << after << isOpenedInAdvance;
                }
            };
            row("at the first bytes", small, 1);
            row("after the whole body", small, small);
            row("at the first bytes of a long body", large, 1);
            row("after half of a long body", large, large / 2);
            row("after the whole of a long body", large, large);
        }
    }
    void aBodyArrivesAtMostOnceWhateverBecomesOfItsConnection() {
        QFETCH(qsizetype, size);
        QFETCH(qsizetype, breakOff);
        QFETCH(After, after);
        QFETCH(bool, isOpenedInAdvance);
        m_server->answer(RawHttpServer::response(200, "one"));
        ask(post(m_server->url()));
        if (isOpenedInAdvance)
            prepare();
        const auto before = m_server->received().size();
        m_server->breakOff(breakOff, after);
        auto request = post(m_server->url());
        request.body = "begin" + QByteArray(size, 'x') + "end";
        QVERIFY(!ask(request)->error().isEmpty());
        settleTheNetwork();
        const QByteArray received = m_server->received().mid(before);
        QCOMPARE(received.count("POST "), 1);
        QVERIFY(received.count("begin") <= 1);
        QVERIFY(received.count("end") <= 1);
    }

    void aConnectionThatDiesWithItsRequestIsNotReplaced() {
        m_server->answer(RawHttpServer::response(200, "one"));
        m_server->answer({}, After::close);
        m_server->answer(RawHttpServer::response(200, "two"));
        ask(post(m_server->url()));
        QCOMPARE(ask(post(m_server->url()))->error(),
                 u"127.0.0.1 closed the connection without a valid answer."_s);
        QCOMPARE(m_server->requests().size(), 2);
    }

    void everyRequestHasAConnectionOfItsOwn() {
        m_server->answer(RawHttpServer::response(200, "one"));
        m_server->answer(RawHttpServer::response(200, "two"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
        QCOMPARE(ask(post(m_server->url()))->value().body, "two");
        QCOMPARE(m_server->connectionCount(), 2);
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
    }

    // Connections that are opened in advance.

    void aRequestUsesTheConnectionThatWasOpenedForIt() {
        prepare();
        QCOMPARE(m_server->received(), "");
        m_server->answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
        QCOMPARE(m_server->connectionCount(), 1);
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
    }

    void aRequestThatComesWhileItsConnectionIsBeingOpenedUsesIt() {
        m_server->answer(RawHttpServer::response(200, "one"));
        m_platform->session->prepare(m_server->url());
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
        QCOMPARE(m_server->connectionCount(), 1);
    }

    void whatWasOpenedServesOneRequestOnly() {
        prepare();
        m_server->answer(RawHttpServer::response(200, "one"));
        m_server->answer(RawHttpServer::response(200, "two"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
        QCOMPARE(ask(post(m_server->url()))->value().body, "two");
        QCOMPARE(m_server->connectionCount(), 2);
    }

    void aConnectionIsNotUsedForAnotherOrigin() {
        prepare();
        RawHttpServer other;
        other.answer(RawHttpServer::response(200, "other"));
        QCOMPARE(ask(post(other.url()))->value().body, "other");
        QCOMPARE(m_server->received(), "");
    }

    void preparingAgainKeepsWhatWasOpened() {
        prepare();
        m_platform->session->prepare(m_server->url());
        settleTheNetwork();
        QCOMPARE(m_server->connectionCount(), 1);
    }

    void preparingForAnotherOriginReplacesWhatWasOpened() {
        prepare();
        const RawHttpServer other;
        m_platform->session->prepare(other.url());
        QVERIFY(m_platform->waitUntil([&] { return other.openConnectionCount() == 1; }));
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
    }

    void aConnectionThatNobodyUsesIsClosedAfterTenSeconds() {
        prepare();
        m_platform->queue.advance(10s - 1ms);
        QCOMPARE(m_server->openConnectionCount(), 1);
        m_platform->queue.advance(1ms);
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
        QCOMPARE(m_server->received(), "");
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

    void theEndOfTheSessionClosesWhatWasOpened() {
        prepare();
        m_platform->endSession();
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

    void aConnectionThatTheServerClosedMeanwhileIsReplaced() {
        prepare();
        m_server->hangUp();
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
        m_server->answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
        QCOMPARE(m_server->requests().size(), 1);
    }

    void whatAServerSaysBeforeItIsAskedIsNoAnswer() {
        prepare();
        m_server->sendToAll(RawHttpServer::response(408, "nobody asked"));
        QVERIFY(m_platform->waitUntilThreadsRest());
        m_server->answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(post(m_server->url()))->value().body, "one");
    }

    void aRequestThatMeetsTheEndOfItsConnectionArrivesAtMostOnce() {
        for (int i = 0; i < 50; ++i) {
            prepare();
            const auto before = m_server->requests().size();
            m_server->answer(RawHttpServer::response(200, "one"));
            std::shared_ptr<Outcome> outcome;
            if (i % 2) {
                m_server->closeAll();
                outcome = start(post(m_server->url()));
            } else {
                outcome = start(post(m_server->url()));
                m_platform->run(); // the request sets out
                m_server->closeAll();
            }
            QVERIFY(m_platform->settle(outcome));
            settleTheNetwork();
            const auto arrivals = m_server->requests().size() - before;
            QVERIFY(arrivals == 1 || (arrivals == 0 && !outcome->error().isNull()));
        }
    }

    void preparingWhereNobodyListensIsHarmless() {
        const QUrl url = m_server->url();
        m_server.reset();
        m_platform->session->prepare(url);
        QCOMPARE(ask(post(url))->error(), u"Could not connect to 127.0.0.1: connection refused."_s);
    }

    void requestsAtTheSameTimeAreIndependent() {
        QList<std::shared_ptr<Outcome>> outcomes;
        for (int i = 0; i < 8; ++i) {
            m_server->answer(RawHttpServer::response(i % 2 ? 200 : 500, "x"));
            outcomes += start(post(m_server->url()));
        }
        int successes = 0;
        for (const auto &outcome : outcomes) {
            QVERIFY(m_platform->settle(outcome));
            successes += outcome->value().statusCode == 200 ? 1 : 0;
        }
        QCOMPARE(successes, 4);
    }

    // The end of the session.

    void destroyingTheSessionFailsWhatIsUnderWay_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("arrives");
        QTest::newRow("before anything is sent") << QByteArray() << false;
        QTest::newRow("before the answer") << QByteArray() << true;
        QTest::newRow("in the headers") << QByteArray("HTTP/1.1 200 OK\r\nContent-") << true;
        QTest::newRow("in the body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nab") << true;
    }
    void destroyingTheSessionFailsWhatIsUnderWay() {
        QFETCH(QByteArray, answer);
        QFETCH(bool, arrives);
        m_server->answer(answer);
        const auto outcome = start(post(m_server->url()));
        if (arrives)
            QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        m_platform->session.reset();
        QVERIFY(!outcome->isDone());
        m_platform->run();
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_s);
        QCOMPARE(m_platform->queue.delayedCount(), 0);
        QVERIFY(m_platform->waitUntil([this] { return m_server->openConnectionCount() == 0; }));
    }

    void destroyingTheSessionAfterTheAnswerButBeforeItIsHandedOverStillHandsItOver() {
        const auto outcome = start(post(m_server->url()));
        QVERIFY(m_platform->waitUntil([this] { return m_server->requests().size() == 1; }));
        m_server->answerHeld(0, RawHttpServer::response(200, "ok"));
        QVERIFY(test::ChildProcess::waitUntil([this] { return !m_platform->queue.isIdle(); }));
        m_platform->endSession();
        QCOMPARE(outcome->value().body, "ok");
    }

private:
    static HttpRequest post(const QUrl &url) {
        HttpRequest request;
        request.url = url;
        request.method = "POST";
        request.timeoutInterval = 45s;
        request.headers.append({QByteArray("Content-Type"), QByteArray("application/json")});
        request.body = "{\"text\":\"hi\"}";
        return request;
    }

    std::shared_ptr<Outcome> start(const HttpRequest &request) {
        return Outcome::of(m_platform->session->data(request));
    }

    std::shared_ptr<Outcome> ask(const HttpRequest &request) {
        return m_platform->outcomeOf(m_platform->session->data(request));
    }

    /// What becomes of a request that is answered while it is still on its way, and whose connection is
    /// closed then.
    std::shared_ptr<Outcome> overtakeItsRequest(const QByteArray &answer) {
        auto request = post(m_server->url());
        request.body = QByteArray(8'000'000, 'x'); // more than the system's buffers between here and there
        const auto outcome = start(request);
        const auto wait = [this](const std::function<bool()> &condition) {
            if (!m_platform->waitUntil(condition))
                throw std::runtime_error("the request did not arrive");
        };
        wait([this] { return !m_server->received().isEmpty(); });
        m_server->sendToAll(answer);
        wait([this] { return m_server->requests().size() == 1; });
        m_platform->waitUntilThreadsRest();
        m_server->closeAll();
        m_platform->settle(outcome);
        return outcome;
    }

    /// What is already on its way arrives.
    void settleTheNetwork() {
        RawHttpServer other;
        other.answer(RawHttpServer::response(200, "later"));
        ask(post(other.url()));
    }

    /// Returns when the connection is there.
    void prepare() {
        const int count = m_server->connectionCount();
        m_platform->session->prepare(m_server->url());
        if (!m_platform->waitUntil([&] { return m_server->connectionCount() == count + 1; }))
            throw std::runtime_error("no connection was opened");
    }

    void redirectTo(int status, const QString &location) {
        const QByteArray line = location.isEmpty() ? QByteArray() : "Location: " + location.toUtf8() + "\r\n";
        m_server->answer(RawHttpServer::response(status, "", line));
    }

    /// When the next delayed call falls due, in the time of the fake queue.
    std::chrono::milliseconds nextDeadline() const { return m_platform->queue.nextDue(); }

    std::unique_ptr<test::RealHttpPlatform> m_platform;
    std::unique_ptr<RawHttpServer> m_server;
};

QTEST_GUILESS_MAIN(QtHttpSessionTest)
#include "QtHttpSessionTest.moc"
