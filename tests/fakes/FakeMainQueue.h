#pragma once

#include "platform/MainQueue.h"

#include <QtGlobal>

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace quillora::test {

/// A main queue whose time stands still until a test moves it.
class FakeMainQueue : public platform::MainQueue {
public:
    ~FakeMainQueue() override { run(); }

    void async(std::function<void()> work) override {
        const std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(work));
    }

    std::shared_ptr<platform::WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                   std::function<void()> work) override {
        auto item = std::make_shared<Item>();
        item->due = m_now + delay;
        item->work = std::move(work);
        m_delayed.push_back(item);
        return item;
    }

    /// Runs one posted call; false if there was none.
    bool runOne() {
        std::function<void()> work;
        {
            const std::lock_guard lock(m_mutex);
            if (m_posted.empty())
                return false;
            work = std::move(m_posted.front());
            m_posted.pop_front();
        }
        work();
        return true;
    }

    /// Runs posted calls until none is left, those that are posted meanwhile too.
    void run() {
        while (runOne()) {
        }
    }

    /// Lets time pass: everything that falls due runs at its time, in order.
    void advance(std::chrono::milliseconds duration) {
        const auto end = m_now + duration;
        run();
        while (const auto next = takeNextDue(end)) {
            m_now = next->due;
            std::exchange(next->work, nullptr)();
            run();
        }
        m_now = end;
    }

    std::chrono::milliseconds now() const { return m_now; }

    /// When the next delayed call is due; the end of time if there is none.
    std::chrono::milliseconds nextDue() const {
        auto due = std::chrono::milliseconds::max();
        for (const auto &item : m_delayed) {
            if (item->work)
                due = std::min(due, item->due);
        }
        return due;
    }

    /// How many delayed calls are still to come.
    qsizetype delayedCount() const {
        return std::count_if(m_delayed.begin(), m_delayed.end(),
                             [](const auto &item) { return bool(item->work); });
    }
    bool isIdle() {
        const std::lock_guard lock(m_mutex);
        return m_posted.empty();
    }

private:
    struct Item : platform::WorkItem {
        void cancel() override { work = nullptr; }
        std::chrono::milliseconds due{0};
        std::function<void()> work;
    };

    std::shared_ptr<Item> takeNextDue(std::chrono::milliseconds end) {
        std::erase_if(m_delayed, [](const auto &item) { return !item->work; });
        const auto next = std::min_element(m_delayed.begin(), m_delayed.end(),
                                           [](const auto &a, const auto &b) { return a->due < b->due; });
        if (next == m_delayed.end() || (*next)->due > end)
            return nullptr;
        auto item = *next;
        m_delayed.erase(next);
        return item;
    }

    std::mutex m_mutex;
    std::deque<std::function<void()>> m_posted;
    std::vector<std::shared_ptr<Item>> m_delayed;
    std::chrono::milliseconds m_now{0};
};

} // namespace quillora::test
