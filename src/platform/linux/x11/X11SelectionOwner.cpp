#include "platform/linux/x11/X11SelectionOwner.h"

#include "platform/linux/x11/X11SelectionServer.h"

#include <algorithm>
#include <condition_variable>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

X11SelectionOwner::X11SelectionOwner(const QByteArray &displayName, std::chrono::milliseconds patience)
    : m_wakeDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_thread(
          [this, server = std::make_unique<X11SelectionServer>(displayName, patience)] { run(*server); }) {}

X11SelectionOwner::~X11SelectionOwner() {
    post([this](auto &) { m_isEnding = true; });
    m_thread.join();
    ::close(m_wakeDescriptor);
}

bool X11SelectionOwner::own(const QByteArray &selection, X11SelectionContents contents) {
    auto shared = std::make_shared<const X11SelectionContents>(std::move(contents));
    return ask<bool>([selection, shared](auto &server) { return server.own(selection, shared); });
}

void X11SelectionOwner::clear(const QByteArray &selection) {
    ask<bool>([selection](auto &server) {
        server.clear(selection);
        return true;
    });
}

X11SelectionOwner::Contents X11SelectionOwner::held(const QByteArray &selection) {
    return ask<Contents>([selection](auto &server) { return server.held(selection); });
}

bool X11SelectionOwner::handOver(std::chrono::milliseconds limit) {
    return ask<bool>([limit](auto &server) { return server.handOver(limit); }, limit);
}

template <typename Result>
Result X11SelectionOwner::ask(std::function<Result(X11SelectionServer &)> question,
                              std::chrono::milliseconds limit) {
    struct Answer {
        std::mutex mutex;
        std::condition_variable isThere;
        std::optional<Result> result;
    };
    const auto answer = std::make_shared<Answer>();
    if (m_unanswered++ == 0)
        m_patience.setRemainingTime(limit);
    post([this, answer, question = std::move(question)](auto &server) {
        auto result = question(server);
        --m_unanswered;
        const std::lock_guard lock(answer->mutex);
        answer->result = std::move(result);
        answer->isThere.notify_one();
    });
    std::unique_lock lock(answer->mutex);
    answer->isThere.wait_for(lock, m_patience.remainingTimeAsDuration(),
                             [&] { return answer->result.has_value(); });
    return answer->result.value_or(Result());
}

void X11SelectionOwner::post(Work work) {
    {
        const std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(work));
    }
    ::eventfd_write(m_wakeDescriptor, 1);
}

std::deque<X11SelectionOwner::Work> X11SelectionOwner::takePosted() {
    eventfd_t count = 0;
    ::eventfd_read(m_wakeDescriptor, &count);
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_posted, {});
}

void X11SelectionOwner::run(X11SelectionServer &server) {
    while (!m_isEnding) {
        for (const auto &work : takePosted())
            work(server);
        // After the work: waiting for an answer may have read events that the descriptor no longer shows.
        server.serve();
        if (!m_isEnding)
            awaitInput(server);
    }
}

void X11SelectionOwner::awaitInput(X11SelectionServer &server) const {
    pollfd inputs[] = {{m_wakeDescriptor, POLLIN, 0}, {server.fileDescriptor(), POLLIN, 0}};
    // A connection that is gone is readable for ever.
    const nfds_t count = server.isAlive() ? 2 : 1;
    const auto timeout = server.nextExpiry().remainingTime();
    ::poll(inputs, count, timeout < 0 ? -1 : static_cast<int>(timeout) + 1);
}

} // namespace quillora::platform
