// What a translation costs from the end of speech to its answer, over TLS on loopback: where the connection
// was opened as the user began to speak, and where it was not.
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/http/QtHttpSession.h"
#include "support/AuthorizedPost.h"
#include "support/Outcome.h"
#include "support/RawHttpServer.h"
#include "support/ThrowAwayAuthority.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

using namespace quillora;
using test::RawHttpServer;

constexpr int runs = 20;
constexpr int laterRequests = 5;
constexpr std::chrono::milliseconds speaking{200};

class Platform : public test::FakePlatform {
public:
    platform::MainQueue &mainQueue() override { return realQueue; }

    platform::LinuxMainQueue realQueue;
    platform::QtHttpSession session{realQueue};
};

struct Times {
    std::vector<double> first;
    std::vector<double> later;
};

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// The server answers each request as soon as it holds its body.
double milliseconds(Platform &platform, RawHttpServer &server) {
    server.answer(RawHttpServer::response(200, R"({"translation":"word"})"));
    QElapsedTimer clock;
    clock.start();
    const auto outcome =
        test::Outcome<platform::HttpResponse>::of(platform.session.data(test::authorizedPost(server.url())));
    while (!outcome->isDone())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!outcome->error().isNull())
        throw std::runtime_error(outcome->error().toStdString());
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void speak() {
    QDeadlineTimer end(speaking);
    while (!end.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
}

Times measure(const QSslConfiguration &identity, bool isOpenedInAdvance) {
    Times times;
    for (int run = 0; run < runs; ++run) {
        Platform platform;
        RawHttpServer server(identity);
        for (int i = 0; i <= laterRequests; ++i) {
            if (isOpenedInAdvance)
                platform.session.prepare(server.url());
            speak();
            (i ? times.later : times.first).push_back(milliseconds(platform, server));
        }
    }
    return times;
}

void print(const char *name, const Times &times) {
    std::printf("%-26s first request %6.2f ms   later requests %6.2f ms\n", name, median(times.first),
                median(times.later));
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::ThrowAwayAuthority authority;
    auto trusting = QSslConfiguration::defaultConfiguration();
    trusting.setCaCertificates({authority.certificate()});
    QSslConfiguration::setDefaultConfiguration(trusting);

    const auto identity = authority.issue(u"127.0.0.1"_s);
    print("opened at the request", measure(identity, false));
    print("opened in advance", measure(identity, true));
}
