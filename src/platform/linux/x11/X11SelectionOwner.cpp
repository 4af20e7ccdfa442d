#include "platform/linux/x11/X11SelectionOwner.h"

#include "platform/linux/x11/X11ToolkitSelection.h"

#include <algorithm>
#include <condition_variable>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

namespace {

/// An owner that has its wits about it has said by then what it offers.
constexpr auto promptAnswer = 20ms;

/// What a frame has room for: values that are there by then do not depend on their owner any more.
constexpr auto promptValues = 8ms;

} // namespace

X11SelectionOwner::X11SelectionOwner(const QByteArray &displayName, Patience patience)
    : m_patienceWithLists(patience.withLists), m_wakeDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_thread([this, server = std::make_unique<X11SelectionServer>(displayName, patience.withOthers)] {
          run(*server);
      }) {}

X11SelectionOwner::~X11SelectionOwner() {
    post([this](auto &) { m_isEnding = true; });
    m_thread.join();
    ::close(m_wakeDescriptor);
}

bool X11SelectionOwner::own(const QByteArray &selection, X11SelectionContents contents) {
    const auto shared = std::make_shared<X11Collection>(std::move(contents));
    return ask<bool>([selection, shared](auto &server) { return server.own(selection, shared); });
}

bool X11SelectionOwner::lend(const QByteArray &selection, X11SelectionContents contents) {
    const auto shared = std::make_shared<X11Collection>(std::move(contents));
    return ask<bool>([selection, shared](auto &server) { return server.lend(selection, shared); });
}

bool X11SelectionOwner::gives(const QByteArray &selection, const X11SelectionContents &text) {
    return ask<bool>([selection, text](auto &server) { return server.gives(selection, text); });
}

X11SelectionOwner::Collection X11SelectionOwner::save(const QByteArray &selection) {
    if (auto ours = toolkitContents(selection))
        return std::make_shared<X11Collection>(std::move(*ours));
    const QDeadlineTimer patience(m_patienceWithLists);
    const QDeadlineTimer forValues(promptValues);
    auto saved = ask<Collection>([selection](auto &server) { return server.collect(selection); });
    if (!saved)
        return X11Collection::outOfReach();
    using enum X11Collection::Progress;
    if (!saved->awaitProgress(listed, std::min(QDeadlineTimer(promptAnswer), patience))) {
        post([saved](auto &server) { server.askForTheUsual(saved); });
        saved->awaitProgress(listed, patience);
    }
    saved->awaitProgress(complete, forValues);
    return saved;
}

void X11SelectionOwner::restore(const QByteArray &selection, const Collection &saved) {
    ask<bool>([selection, saved](auto &server) {
        server.restore(selection, saved);
        return true;
    });
}

std::optional<X11SelectionContents> X11SelectionOwner::toolkitContents(const QByteArray &selection) {
    const auto mode = selection == "PRIMARY" ? QClipboard::Selection : QClipboard::Clipboard;
    if (!X11ToolkitSelection::isHeld(mode))
        return {};
    // It does not know yet of a loss that it has still to be told of.
    const auto owner = ask<xcb_window_t>([selection](auto &server) { return server.ownerOf(selection); });
    return X11ToolkitSelection::contents(mode, owner);
}

X11SelectionOwner::Collection X11SelectionOwner::held(const QByteArray &selection) {
    return ask<Collection>([selection](auto &server) { return server.held(selection); });
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
        // After the work: waiting for an answer may have read events that the descriptor no longer shows. One
        // by one, since the main thread waits for work while a large value comes in.
        const bool hasServed = server.serveNext();
        if (!hasServed && !m_isEnding)
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
