#include "support/AuthorizedPost.h"
#include "support/OwnTime.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QTest>

#include <cstdio>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::HttpResponse;
using test::ChildProcess;
using test::RawHttpServer;
using After = test::RawHttpServer::After;
using Outcome = test::Outcome<HttpResponse>;

/// The library that fetches proxy scripts keeps something of each that did not come.
extern "C" const char *__lsan_default_suppressions() { return "leak:libproxy\n"; }

static const QString leaveWithALookup = u"--leave-with-a-lookup"_s;
static constexpr int leavingStatus = 7;

/// The system's proxy settings, as the environment gives them.
class QtHttpSessionProxyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::RealHttpPlatform>();
        m_proxy = std::make_unique<RawHttpServer>();
        const QByteArray address = m_proxy->url(u"/"_s).toEncoded();
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
        QCOMPARE(ask(QUrl(u"http://api.quillora.example/v1"_s))->value().body, "by proxy");
        QVERIFY(m_proxy->requests().first().startsWith("POST http://api.quillora.example/v1 HTTP/1.1\r\n"));
        QVERIFY(m_proxy->requests().first().contains("\r\nHost: api.quillora.example\r\n"));
    }

    void secureRequestsAskTheProxyForATunnelAndTellItNothingElse() {
        m_proxy->answer(RawHttpServer::response(403, "no"), After::close);
        ask(QUrl(u"https://api.quillora.example/v1"_s));
        QVERIFY(m_proxy->requests().first().startsWith("CONNECT api.quillora.example:443 HTTP/1.1\r\n"));
        QVERIFY(!m_proxy->received().contains("secret"));
        QVERIFY(!m_proxy->received().contains("/v1"));
    }

    void aTunnelThatIsRefusedIsAnError() {
        m_proxy->answer(RawHttpServer::response(403, "no"), After::close);
        QCOMPARE(ask(QUrl(u"https://api.quillora.example/v1"_s))->error(),
                 u"The connection to api.quillora.example through the proxy server 127.0.0.1 failed."_s);
    }

    void aProxyThatWantsAPasswordIsAnError() {
        m_proxy->answer(RawHttpServer::response(407, "", "Proxy-Authenticate: Basic realm=\"x\"\r\n"));
        QCOMPARE(
            ask(QUrl(u"http://api.quillora.example/v1"_s))->error(),
            u"Could not connect to api.quillora.example through the proxy server 127.0.0.1: it asks for a password."_s);
    }

    void aProxyThatIsGoneIsAnError() {
        m_proxy.reset();
        QCOMPARE(
            ask(QUrl(u"http://api.quillora.example/v1"_s))->error(),
            u"Could not connect to api.quillora.example through the proxy server 127.0.0.1: connection refused."_s);
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
        ask(server.url(u"/v1"_s, u"localhost"_s));
        QCOMPARE(m_proxy->connectionCount(), 0);
    }

    void destroyingTheSessionWhileItLooksForAProxyFailsTheRequest() {
        const auto outcome = start(QUrl(u"http://api.quillora.example/v1"_s));
        m_platform->endSession();
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_s);
        QCOMPARE(m_proxy->connectionCount(), 0);
    }

    void aScriptThatDoesNotComeIsAnErrorThatSaysSo() {
        const auto outcome = startWithAScriptThatDoesNotCome();
        m_platform->queue.advance(10s - 1ms);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1ms);
        QCOMPARE(outcome->error(),
                 u"Could not find out within 10 seconds which proxy server leads to api.quillora.example."_s);
    }

    void aRequestAfterThatIsBoundedInTheSameWay() {
        startWithAScriptThatDoesNotCome();
        m_platform->queue.advance(10s);
        const auto outcome = start(QUrl(u"http://other.quillora.example/v1"_s));
        m_platform->queue.advance(10s);
        QCOMPARE(
            outcome->error(),
            u"Could not find out within 10 seconds which proxy server leads to other.quillora.example."_s);
    }

    void aRequestAfterThatAsksTheSettingsAgain() {
        startWithAScriptThatDoesNotCome();
        m_platform->queue.advance(10s);
        RawHttpServer proxy;
        proxy.answer(RawHttpServer::response(200, "by proxy"));
        qputenv("http_proxy", proxy.url(u"/"_s).toEncoded());
        QCOMPARE(ask(QUrl(u"http://api.quillora.example/v1"_s))->value().body, "by proxy");
    }

    void aSearchInAdvanceThatRanOutOfTimeIsRepeatedForTheRequest() {
        useAScriptThatDoesNotCome();
        m_platform->session->prepare(QUrl(u"http://api.quillora.example/v1"_s));
        QVERIFY(m_platform->waitUntil([this] { return m_proxy->requests().size() == 1; }));
        m_platform->queue.advance(10s);
        RawHttpServer proxy;
        proxy.answer(RawHttpServer::response(200, "by proxy"));
        qputenv("http_proxy", proxy.url(u"/"_s).toEncoded());
        QCOMPARE(ask(QUrl(u"http://api.quillora.example/v1"_s))->value().body, "by proxy");
    }

    void aScriptThatDoesNotComeHoldsUpNoRequestToThisMachine() {
        startWithAScriptThatDoesNotCome();
        RawHttpServer server;
        server.answer(RawHttpServer::response(200, "direct"));
        QCOMPARE(ask(server.url())->value().body, "direct");
    }

    void requestsGoOnOnceTheScriptHasFailed() {
        startWithAScriptThatDoesNotCome();
        m_platform->queue.advance(10s);
        RawHttpServer proxy;
        proxy.answer(RawHttpServer::response(200, "by proxy"));
        qputenv("http_proxy", proxy.url(u"/"_s).toEncoded());
        m_proxy.reset();
        QCOMPARE(ask(QUrl(u"http://api.quillora.example/v1"_s))->value().body, "by proxy");
    }

    void destroyingTheSessionDoesNotWaitForAScript() {
        const auto outcome = startWithAScriptThatDoesNotCome();
        const test::OwnTime timer;
        m_platform->endSession();
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(outcome->error(), u"The program ended before the answer came."_s);
    }

    void theEndOfTheProgramDoesNotWaitForAScriptAndKeepsItsStatus() {
        useAScriptThatDoesNotCome();
        ChildProcess program(QCoreApplication::applicationFilePath(), {leaveWithALookup});
        QTRY_COMPARE(m_proxy->requests().size(), 1);
        program.process().closeWriteChannel();
        QVERIFY(program.process().waitForFinished(5000));
        QCOMPARE(program.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process().exitCode(), leavingStatus);
    }

private:
    void useAScriptThatDoesNotCome() {
        qputenv("http_proxy", "pac+" + m_proxy->url(u"/proxy.pac"_s).toEncoded());
    }

    /// Returns when the script has been asked for.
    std::shared_ptr<Outcome> startWithAScriptThatDoesNotCome() {
        useAScriptThatDoesNotCome();
        auto outcome = start(QUrl(u"http://api.quillora.example/v1"_s));
        if (!m_platform->waitUntil([this] { return m_proxy->requests().size() == 1; }))
            throw std::runtime_error("the script was not asked for");
        return outcome;
    }

    std::shared_ptr<Outcome> start(const QUrl &url) {
        return Outcome::of(m_platform->session->data(test::authorizedPost(url)));
    }

    std::shared_ptr<Outcome> ask(const QUrl &url) {
        return m_platform->outcomeOf(m_platform->session->data(test::authorizedPost(url)));
    }

    std::unique_ptr<test::RealHttpPlatform> m_platform;
    std::unique_ptr<RawHttpServer> m_proxy;
};

/// A program that ends while it looks for a proxy, when its input does.
static int leave() {
    test::RealHttpPlatform platform;
    const auto outcome =
        Outcome::of(platform.session->data(test::authorizedPost(QUrl(u"http://api.quillora.example/v1"_s))));
    while (std::getchar() != EOF) {
    }
    return leavingStatus;
}

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    if (application.arguments().contains(leaveWithALookup))
        return leave();
    QtHttpSessionProxyTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "QtHttpSessionProxyTest.moc"
