#pragma once

#include "fakes/CallLog.h"
#include "platform/Continuation.h"
#include "platform/HttpSession.h"

#include <deque>
#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A server that gives the scripted answer to every request, from the main queue.
class FakeHttpSession : public platform::HttpSession {
public:
    FakeHttpSession(CallLog &log, platform::MainQueue &queue) : m_log(log), m_queue(queue) {}

    void prepare(const QUrl &url) override { m_log.add(u"http prepare "_s + url.toString()); }

    QCoro::Task<platform::HttpResponse> data(platform::HttpRequest request) override {
        m_log.add(u"http "_s + QString::fromLatin1(request.method) + u' ' + request.url.toString());
        requests.push_back(request);
        platform::Continuation<platform::HttpResponse> waiter(m_queue);
        const auto answer = waiter.wait();
        if (repliesByHand)
            pending.push_back(std::move(waiter));
        else if (transportError)
            waiter.fail(std::make_exception_ptr(LocalizedError(*transportError)));
        else
            waiter.resume(response);
        co_return co_await answer;
    }

    platform::HttpResponse response{true, 200, R"({"translation":"translated"})"};
    std::optional<QString> transportError;
    bool repliesByHand = false;
    std::deque<platform::Continuation<platform::HttpResponse>> pending;
    std::vector<platform::HttpRequest> requests;

private:
    CallLog &m_log;
    platform::MainQueue &m_queue;
};

} // namespace quillora::test
