#include "contract/HttpSessionContract.h"
#include "support/RawHttpServer.h"
#include "support/RealHttpPlatform.h"

#include <QTest>

namespace {

using namespace quillora;
using test::RawHttpServer;

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
    test::HttpSessionContract contract([] { return std::make_unique<QtHttpSessionHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
