// What the first translation of a run costs in handshakes, and what the next ones cost on the connection that
// was kept: over TLS on loopback, by HTTP/1.1 and by HTTP/2.
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/http/QtHttpSession.h"
#include "support/Outcome.h"
#include "support/RawHttpServer.h"
#include "support/ThrowAwayAuthority.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

namespace {

using namespace quillora;
using test::RawHttpServer;

constexpr int runs = 20;
constexpr int laterRequests = 10;

class Platform : public test::FakePlatform {
public:
    platform::MainQueue &mainQueue() override { return realQueue; }

    platform::LinuxMainQueue realQueue;
    platform::QtHttpSession session{realQueue};
};

QByteArray frame(char type, char flags, char stream, const QByteArray &payload) {
    return QByteArray(2, '\0') + static_cast<char>(payload.size()) + type + flags + QByteArray(3, '\0') +
           stream + payload;
}

struct Times {
    std::vector<double> first;
    std::vector<double> later;
    int connections = 0;
};

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double milliseconds(Platform &platform, RawHttpServer &server, const std::function<bool()> &mayAnswer,
                    const QByteArray &answer) {
    platform::HttpRequest request;
    request.url = server.url();
    request.method = "POST";
    request.timeoutInterval = std::chrono::seconds(45);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = "{\"text\":\"hi\"}";
    QElapsedTimer clock;
    clock.start();
    const auto outcome = test::Outcome<platform::HttpResponse>::of(platform.session.data(request));
    bool isAnswered = false;
    while (!outcome->isDone()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (!isAnswered && mayAnswer()) {
            server.send(answer);
            isAnswered = true;
        }
    }
    if (!outcome->error().isNull())
        throw std::runtime_error(outcome->error().toStdString());
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

/// The server answers each request as soon as it holds its body.
Times measure(const QSslConfiguration &identity, bool isHttp2) {
    Times times;
    for (int run = 0; run < runs; ++run) {
        Platform platform;
        RawHttpServer server(identity);
        if (isHttp2)
            server.answer(frame(4, 0, 0, {}) + frame(4, 1, 0, {})); // the preface looks like a request
        for (int i = 0; i <= laterRequests; ++i) {
            const auto mayAnswer = [&] { return server.received().count("{\"text\":\"hi\"}") == i + 1; };
            const auto stream = static_cast<char>(2 * i + 1);
            const QByteArray answer =
                isHttp2 ? frame(1, 4, stream, "\x88") + frame(0, 1, stream, R"({"translation":"word"})")
                        : RawHttpServer::response(200, R"({"translation":"word"})");
            (i ? times.later : times.first).push_back(milliseconds(platform, server, mayAnswer, answer));
        }
        times.connections += server.connectionCount();
        if (server.negotiatedProtocol() != (isHttp2 ? "h2" : "http/1.1"))
            throw std::runtime_error("another protocol was negotiated");
    }
    return times;
}

void print(const char *name, const Times &times) {
    std::printf("%-9s first request %6.2f ms   later requests %6.2f ms   connections %d for %d requests\n",
                name, median(times.first), median(times.later), times.connections,
                runs * (laterRequests + 1));
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::ThrowAwayAuthority authority;
    auto trusting = QSslConfiguration::defaultConfiguration();
    trusting.setCaCertificates({authority.certificate()});
    QSslConfiguration::setDefaultConfiguration(trusting);

    auto identity = authority.issue(u"127.0.0.1"_qs);
    identity.setAllowedNextProtocols({"http/1.1"});
    print("HTTP/1.1", measure(identity, false));
    identity.setAllowedNextProtocols({"h2"});
    print("HTTP/2", measure(identity, true));
}
