#include "support/AuthorizedPost.h"
#include "support/BadCertificates.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::HttpResponse;
using test::RawHttpServer;
using After = test::RawHttpServer::After;
using Outcome = test::Outcome<HttpResponse>;

/// HTTPS, with certificates of an authority that this test makes and trusts.
class QtHttpSessionTlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_authority.trustHere(); }
    void init() { m_platform = std::make_unique<test::RealHttpPlatform>(); }
    void cleanup() { m_platform.reset(); }

    void aServerWithAGoodCertificateIsAsked() {
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        server.answer(RawHttpServer::response(200, "ok"));
        QCOMPARE(ask(server.url())->value().body, "ok");
        QCOMPARE(RawHttpServer::headerLines(server.requests().first(), "Authorization"),
                 QList<QByteArray>{"Authorization: Bearer secret"});
    }

    void aHandshakeMadeInAdvanceServesTheRequest() {
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        m_platform->session->prepare(server.url());
        QVERIFY(m_platform->waitUntil([&] { return server.handshakeCount() == 1; }));
        QCOMPARE(server.received(), "");
        server.answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(server.url())->value().body, "one");
        QCOMPARE(server.connectionCount(), 1);
    }

    void whatAServerSaysBeforeItIsAskedIsNoAnswer() {
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        m_platform->session->prepare(server.url());
        QVERIFY(m_platform->waitUntil([&] { return server.handshakeCount() == 1; }));
        server.sendToAll(RawHttpServer::response(408, "nobody asked"));
        QVERIFY(m_platform->waitUntilThreadsRest());
        server.answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(server.url())->value().body, "one");
        QCOMPARE(server.requests().size(), 1);
    }

    void aRequestThatComesDuringTheHandshakeWaitsForIt() {
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        server.answer(RawHttpServer::response(200, "one"));
        m_platform->session->prepare(server.url());
        QVERIFY(m_platform->waitUntil([&] { return server.connectionCount() == 1; }));
        QCOMPARE(ask(server.url())->value().body, "one");
        QCOMPARE(server.connectionCount(), 1);
    }

    void aBodyArrivesOnceWhereTheConnectionDiesWithIt_data() {
        QTest::addColumn<bool>("isOpenedInAdvance");
        QTest::addColumn<After>("after");
        QTest::newRow("closed") << false << After::close;
        QTest::newRow("reset") << false << After::reset;
        QTest::newRow("closed, opened in advance") << true << After::close;
        QTest::newRow("reset, opened in advance") << true << After::reset;
    }
    void aBodyArrivesOnceWhereTheConnectionDiesWithIt() {
        QFETCH(bool, isOpenedInAdvance);
        QFETCH(After, after);
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        if (isOpenedInAdvance) {
            m_platform->session->prepare(server.url());
            QVERIFY(m_platform->waitUntil([&] { return server.handshakeCount() == 1; }));
        }
        server.answer({}, after);
        QCOMPARE(ask(server.url())->error(), u"127.0.0.1 closed the connection without a valid answer."_s);
        QCOMPARE(server.requests().size(), 1);
    }

    void http1IsSpokenEvenWhereHttp2IsOffered() {
        auto identity = m_authority.issue(u"127.0.0.1"_s);
        identity.setAllowedNextProtocols({"h2", "http/1.1"});
        RawHttpServer server(identity);
        server.answer(RawHttpServer::response(200, "one"));
        QCOMPARE(ask(server.url())->value().body, "one");
        QVERIFY(server.negotiatedProtocol() != "h2");
    }

    void badCertificatesAreErrorsAndNothingIsSent_data() { test::addBadCertificates(m_authority); }
    void badCertificatesAreErrorsAndNothingIsSent() {
        QFETCH(QSslConfiguration, identity);
        QFETCH(QString, fault);
        RawHttpServer server(identity);
        QCOMPARE(ask(server.url())->error(), u"Could not connect securely to 127.0.0.1: "_s + fault + u'.');
        QCOMPARE(server.received(), "");
    }

    void badCertificatesFoundInAdvanceAreErrorsOfTheRequest_data() {
        badCertificatesAreErrorsAndNothingIsSent_data();
    }
    void badCertificatesFoundInAdvanceAreErrorsOfTheRequest() {
        QFETCH(QSslConfiguration, identity);
        QFETCH(QString, fault);
        RawHttpServer server(identity);
        m_platform->session->prepare(server.url());
        QVERIFY(m_platform->waitUntil(
            [&] { return server.connectionCount() > 0 && server.openConnectionCount() == 0; }));
        QCOMPARE(ask(server.url())->error(), u"Could not connect securely to 127.0.0.1: "_s + fault + u'.');
        QCOMPARE(server.received(), "");
    }

    void aServerWithoutTlsIsAnErrorAndGetsNoToken() {
        RawHttpServer server;
        QUrl url = server.url();
        url.setScheme(u"https"_s);
        const auto outcome = start(url);
        QVERIFY(m_platform->waitUntil([&] { return !server.received().isEmpty(); }));
        server.sendToAll("HTTP/1.1 400 Bad Request\r\n\r\n");
        QVERIFY(m_platform->settle(outcome));
        QCOMPARE(
            outcome->error(),
            u"Could not connect securely to 127.0.0.1: the server does not offer a secure connection that "
            u"works."_s);
        QVERIFY(!server.received().contains("secret"));
    }

    void aServerThatClosesDuringTheHandshakeIsAnErrorAndGetsNoToken() {
        RawHttpServer server;
        QUrl url = server.url();
        url.setScheme(u"https"_s);
        const auto outcome = start(url);
        QVERIFY(m_platform->waitUntil([&] { return !server.received().isEmpty(); }));
        server.closeAll();
        QVERIFY(m_platform->settle(outcome));
        QCOMPARE(outcome->error(), u"127.0.0.1 closed the connection without a valid answer."_s);
        QVERIFY(!server.received().contains("secret"));
    }

    void aRedirectToPlainHttpIsNotFollowed_data() {
        QTest::addColumn<int>("status");
        for (const int status : {301, 302, 303, 307, 308})
            QTest::newRow(QByteArray::number(status).constData()) << status;
    }
    void aRedirectToPlainHttpIsNotFollowed() {
        QFETCH(int, status);
        RawHttpServer plain;
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        server.answer(RawHttpServer::response(status, "", "Location: " + plain.url().toEncoded() + "\r\n"));
        QCOMPARE(ask(server.url())->value().statusCode, status);
        QCOMPARE(plain.connectionCount(), 0);
    }

    void aRedirectFromPlainHttpToHttpsIsNotFollowedEither() {
        RawHttpServer plain;
        RawHttpServer server(m_authority.issue(u"127.0.0.1"_s));
        plain.answer(RawHttpServer::response(308, "", "Location: " + server.url().toEncoded() + "\r\n"));
        QCOMPARE(ask(plain.url())->value().statusCode, 308);
        QCOMPARE(server.connectionCount(), 0);
    }

    void destroyingTheSessionDuringTheHandshakeFailsTheRequest() {
        RawHttpServer silent;
        QUrl url = silent.url();
        url.setScheme(u"https"_s);
        const auto outcome = start(url);
        QVERIFY(m_platform->waitUntil([&] { return !silent.received().isEmpty(); }));
        m_platform->endSession();
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_s);
        QVERIFY(m_platform->waitUntil([&] { return silent.openConnectionCount() == 0; }));
    }

    void aHandshakeThatNeverEndsIsSilence() {
        RawHttpServer silent;
        QUrl url = silent.url();
        url.setScheme(u"https"_s);
        const auto outcome = start(url);
        QVERIFY(m_platform->waitUntil([&] { return !silent.received().isEmpty(); }));
        m_platform->queue.advance(45s);
        QCOMPARE(outcome->error(), u"127.0.0.1 sent nothing for 45 seconds."_s);
    }

private:
    std::shared_ptr<Outcome> start(const QUrl &url) {
        return Outcome::of(m_platform->session->data(test::authorizedPost(url)));
    }

    std::shared_ptr<Outcome> ask(const QUrl &url) {
        return m_platform->outcomeOf(m_platform->session->data(test::authorizedPost(url)));
    }

    test::ThrowAwayAuthority m_authority;
    std::unique_ptr<test::RealHttpPlatform> m_platform;
};

QTEST_GUILESS_MAIN(QtHttpSessionTlsTest)
#include "QtHttpSessionTlsTest.moc"
