#include "support/AuthorizedPost.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QTest>

using namespace quillora;
using platform::HttpResponse;
using test::RawHttpServer;
using After = test::RawHttpServer::After;
using Outcome = test::Outcome<HttpResponse>;

/// The system's proxy settings, as the environment gives them.
class QtHttpSessionProxyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::RealHttpPlatform>();
        m_proxy = std::make_unique<RawHttpServer>();
        const QByteArray address = m_proxy->url(u"/"_qs).toEncoded();
        qputenv("http_proxy", address);
        qputenv("https_proxy", address);
    }
    void cleanup() {
        qunsetenv("http_proxy");
        qunsetenv("https_proxy");
        qunsetenv("no_proxy");
        m_platform.reset();
        m_proxy.reset();
    }

    void plainRequestsGoThroughTheProxy() {
        m_proxy->answer(RawHttpServer::response(200, "by proxy"));
        QCOMPARE(ask(QUrl(u"http://api.quillora.example/v1"_qs))->value().body, "by proxy");
        QVERIFY(m_proxy->requests().first().startsWith("POST http://api.quillora.example/v1 HTTP/1.1\r\n"));
        QVERIFY(m_proxy->requests().first().contains("\r\nHost: api.quillora.example\r\n"));
    }

    void secureRequestsAskTheProxyForATunnelAndTellItNothingElse() {
        m_proxy->answer(RawHttpServer::response(403, "no"), After::close);
        ask(QUrl(u"https://api.quillora.example/v1"_qs));
        QVERIFY(m_proxy->requests().first().startsWith("CONNECT api.quillora.example:443 HTTP/1.1\r\n"));
        QVERIFY(!m_proxy->received().contains("secret"));
        QVERIFY(!m_proxy->received().contains("/v1"));
    }

    void aTunnelThatIsRefusedIsAnError() {
        m_proxy->answer(RawHttpServer::response(403, "no"), After::close);
        QCOMPARE(ask(QUrl(u"https://api.quillora.example/v1"_qs))->error(),
                 u"The connection to api.quillora.example through the proxy server 127.0.0.1 failed."_qs);
    }

    void aProxyThatWantsAPasswordIsAnError() {
        m_proxy->answer(RawHttpServer::response(407, "", "Proxy-Authenticate: Basic realm=\"x\"\r\n"));
        QCOMPARE(
            ask(QUrl(u"http://api.quillora.example/v1"_qs))->error(),
            u"Could not connect to api.quillora.example through the proxy server 127.0.0.1: it asks for a password."_qs);
    }

    void aProxyThatIsGoneIsAnError() {
        m_proxy.reset();
        QCOMPARE(
            ask(QUrl(u"http://api.quillora.example/v1"_qs))->error(),
            u"Could not connect to api.quillora.example through the proxy server 127.0.0.1: connection refused."_qs);
    }

    void thisMachineIsReachedDirectly() {
        RawHttpServer server;
        server.answer(RawHttpServer::response(200, "direct"));
        QCOMPARE(ask(server.url())->value().body, "direct");
        QCOMPARE(m_proxy->connectionCount(), 0);
    }

    // Whether the name leads anywhere is up to the machine.
    void theProxyIsNeverAskedForLocalhost() {
        RawHttpServer server;
        server.answer(RawHttpServer::response(200, "direct"));
        ask(server.url(u"/v1"_qs, u"localhost"_qs));
        QCOMPARE(m_proxy->connectionCount(), 0);
    }

    void destroyingTheSessionWhileItLooksForAProxyFailsTheRequest() {
        const auto outcome = start(QUrl(u"http://api.quillora.example/v1"_qs));
        m_platform->endSession();
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_qs);
        QCOMPARE(m_proxy->connectionCount(), 0);
    }

private:
    std::shared_ptr<Outcome> start(const QUrl &url) {
        return Outcome::of(m_platform->session->data(test::authorizedPost(url)));
    }

    std::shared_ptr<Outcome> ask(const QUrl &url) {
        return m_platform->outcomeOf(m_platform->session->data(test::authorizedPost(url)));
    }

    std::unique_ptr<test::RealHttpPlatform> m_platform;
    std::unique_ptr<RawHttpServer> m_proxy;
};

QTEST_GUILESS_MAIN(QtHttpSessionProxyTest)
#include "QtHttpSessionProxyTest.moc"
