#include "contract/HttpSessionContract.h"
#include "fakes/FakePlatform.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::RawHttpServer;

namespace {

class FakeHarness : public test::HttpSessionHarness {
public:
    platform::HttpSession &session() override { return *m_session; }
    void destroySession() override { m_session.reset(); }
    QUrl url() const override { return QUrl(u"http://127.0.0.1/v1/translate"_s); }

    void answerNext(int status, const QByteArray &body) override {
        m_session->repliesByHand = false;
        m_session->transportError.reset();
        m_session->response = {true, status, body};
    }
    void failNext() override {
        m_session->repliesByHand = false;
        m_session->transportError = u"Could not connect."_s;
    }
    void answerHeld(qsizetype number, int status, const QByteArray &body) override {
        m_session->pending[static_cast<size_t>(number)].resume({true, status, body});
    }

    QList<Received> received() const override {
        QList<Received> received;
        for (const auto &request : m_session->requests)
            received.append({request.method, request.headers, request.body});
        return received;
    }

    bool waitUntil(const std::function<bool()> &condition) override {
        m_platform.run();
        return condition();
    }
    void run() override { m_platform.run(); }

private:
    std::unique_ptr<test::FakeHttpSession> makeSession() {
        auto session = std::make_unique<test::FakeHttpSession>(m_platform.log, m_platform.queue);
        session->repliesByHand = true;
        return session;
    }

    test::FakePlatform m_platform;
    std::unique_ptr<test::FakeHttpSession> m_session = makeSession();
};

class QtHttpSessionHarness : public test::HttpSessionHarness {
public:
    platform::HttpSession &session() override { return *m_platform.session; }
    void destroySession() override { m_platform.session.reset(); }
    QUrl url() const override { return m_server.url(); }

    void answerNext(int status, const QByteArray &body) override {
        m_server.answer(RawHttpServer::response(status, body));
    }
    void failNext() override { m_server.answer("no HTTP", RawHttpServer::After::close); }
    void answerHeld(qsizetype number, int status, const QByteArray &body) override {
        m_server.answerHeld(number, RawHttpServer::response(status, body));
    }

    QList<Received> received() const override {
        QList<Received> received;
        for (const auto &request : m_server.requests())
            received.append(
                {request.left(request.indexOf(' ')), givenHeaders(request), RawHttpServer::body(request)});
        return received;
    }

    bool waitUntil(const std::function<bool()> &condition) override {
        return m_platform.waitUntil(condition);
    }
    void run() override { m_platform.run(); }

private:
    /// What a client adds to every request of its own accord.
    static bool isOfTheClient(const QByteArray &name) {
        return QByteArrayList{"Host",           "User-Agent", "Accept-Language", "Accept-Encoding",
                              "Content-Length", "Connection"}
            .contains(name);
    }

    static QList<std::pair<QByteArray, QByteArray>> givenHeaders(const QByteArray &request) {
        QList<std::pair<QByteArray, QByteArray>> headers;
        for (const QByteArray &line : RawHttpServer::headerLines(request)) {
            const auto colon = line.indexOf(": ");
            if (!isOfTheClient(line.left(colon)))
                headers.emplaceBack(line.left(colon), line.mid(colon + 2));
        }
        return headers;
    }

    RawHttpServer m_server;
    test::RealHttpPlatform m_platform;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::HttpSessionContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"QtHttpSession", [] { return std::make_unique<QtHttpSessionHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
