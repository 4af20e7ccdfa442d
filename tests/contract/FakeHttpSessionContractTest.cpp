#include "contract/HttpSessionContract.h"
#include "fakes/FakePlatform.h"

#include <QTest>

namespace {

using namespace quillora;

class FakeHttpSessionHarness : public test::HttpSessionHarness {
public:
    platform::HttpSession &session() override { return *m_session; }
    void destroySession() override { m_session.reset(); }
    QUrl url() const override { return QUrl(u"http://127.0.0.1/v1/translate"_qs); }

    void answerNext(int status, const QByteArray &body) override {
        m_session->repliesByHand = false;
        m_session->transportError.reset();
        m_session->response = {true, status, body};
    }
    void failNext() override {
        m_session->repliesByHand = false;
        m_session->transportError = u"Could not connect."_qs;
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

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::HttpSessionContract contract([] { return std::make_unique<FakeHttpSessionHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
