#include "platform/linux/x11/X11SelectionOwner.h"

#include "platform/linux/x11/X11ToolkitSelection.h"

#include <algorithm>
#include <future>
#include <optional>
#include <poll.h>
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
    : m_patienceWithLists(patience.withLists), m_patienceWithManagers(patience.withManagers),
      m_server(displayName, patience.withOthers),
      m_worker("selections", [this](Worker &worker) { run(worker); }) {}

bool X11SelectionOwner::own(const QByteArray &selection, X11SelectionContents contents) {
    const auto shared = std::make_shared<X11Collection>(std::move(contents));
    return ask<bool>([this, selection, shared] { return m_server.own(selection, shared); });
}

bool X11SelectionOwner::lend(const QByteArray &selection, X11SelectionContents contents) {
    const auto shared = std::make_shared<X11Collection>(std::move(contents));
    return ask<bool>([this, selection, shared] { return m_server.lend(selection, shared); });
}

bool X11SelectionOwner::gives(const QByteArray &selection, const X11SelectionContents &text) {
    const QDeadlineTimer patience(m_patienceWithLists);
    if (const auto given = ask<Collection>([this, selection] { return m_server.given(selection); }))
        given->awaitProgress(X11Collection::Progress::complete, patience);
    return ask<bool>([this, selection, text] { return m_server.gives(selection, text); });
}

X11SelectionOwner::Collection X11SelectionOwner::save(const QByteArray &selection) {
    if (auto ours = toolkitContents(selection))
        return std::make_shared<X11Collection>(std::move(*ours));
    const QDeadlineTimer patience(m_patienceWithLists);
    const QDeadlineTimer forValues(promptValues);
    auto saved = ask<Collection>([this, selection] { return m_server.collect(selection); });
    if (!saved)
        return X11Collection::outOfReach();
    using enum X11Collection::Progress;
    if (!saved->awaitProgress(listed, std::min(QDeadlineTimer(promptAnswer), patience))) {
        m_worker.post([this, saved] { m_server.askForTheUsual(saved); });
        saved->awaitProgress(listed, patience);
    }
    saved->awaitProgress(complete, forValues);
    return saved;
}

void X11SelectionOwner::restore(const QByteArray &selection, const Collection &saved) {
    ask<bool>([this, selection, saved] {
        m_server.restore(selection, saved);
        return true;
    });
}

void X11SelectionOwner::giveBack(const QByteArray &selection, const Collection &saved) {
    ask<bool>([this, selection, saved] {
        if (m_server.held(selection))
            m_server.restore(selection, saved);
        else
            m_server.endLoan(selection);
        return true;
    });
}

std::optional<X11SelectionContents> X11SelectionOwner::toolkitContents(const QByteArray &selection) {
    const auto mode = selection == "PRIMARY" ? QClipboard::Selection : QClipboard::Clipboard;
    if (!X11ToolkitSelection::isHeld(mode))
        return {};
    // It does not know yet of a loss that it has still to be told of.
    const auto owner = ask<xcb_window_t>([this, selection] { return m_server.ownerOf(selection); });
    return X11ToolkitSelection::contents(mode, owner);
}

X11SelectionOwner::Collection X11SelectionOwner::held(const QByteArray &selection) {
    return ask<Collection>([this, selection] { return m_server.held(selection); });
}

bool X11SelectionOwner::handOver() {
    return ask<bool>([this] { return m_server.handOver(m_patienceWithManagers); }, m_patienceWithManagers);
}

template <typename Result>
Result X11SelectionOwner::ask(std::function<Result()> question, std::chrono::milliseconds limit) {
    const auto answer = std::make_shared<std::promise<Result>>(); // for whoever of the two goes last
    auto result = answer->get_future();
    if (m_unanswered++ == 0)
        m_patience.setRemainingTime(limit);
    m_worker.post([this, answer, question = std::move(question)] {
        auto found = question();
        --m_unanswered;
        answer->set_value(std::move(found));
    });
    const bool isThere = result.wait_for(m_patience.remainingTimeAsDuration()) == std::future_status::ready;
    return isThere ? result.get() : Result();
}

void X11SelectionOwner::run(Worker &worker) {
    while (worker.doPosted()) {
        // After the work: waiting for an answer may have read events that the descriptor no longer shows. One
        // by one, since the main thread waits for work while a large value comes in.
        if (!m_server.serveNext())
            awaitInput(worker);
    }
}

void X11SelectionOwner::awaitInput(const Worker &worker) const {
    pollfd inputs[] = {{worker.descriptor(), POLLIN, 0}, {m_server.fileDescriptor(), POLLIN, 0}};
    // A connection that is gone is readable for ever.
    const nfds_t count = m_server.isAlive() ? 2 : 1;
    const auto timeout = m_server.nextExpiry().remainingTime();
    ::poll(inputs, count, timeout < 0 ? -1 : static_cast<int>(timeout) + 1);
}

} // namespace quillora::platform
