#pragma once

#include "platform/linux/WakeUp.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace quillora::platform {

/// What other threads hand to one that takes it, in the order in which it came. Any thread; nobody waits
/// here: the taker is woken for whatever happens, and polls that with whatever else it waits for.
template <typename T>
class HandOver {
public:
    enum class State { open, ended, abandoned };
    struct Portion {
        std::vector<T> items;      ///< all that has come since the last portion
        State state = State::open; ///< behind them
    };

    explicit HandOver(std::shared_ptr<WakeUp> taker) : m_taker(std::move(taker)) {}

    /// False, and nothing is handed over, once it has ended or was abandoned.
    bool add(T item) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_state != State::open)
                return false;
            m_items.push_back(std::move(item));
        }
        m_taker->wake();
        return true;
    }

    /// Nothing more will come.
    void end() {
        {
            const std::lock_guard lock(m_mutex);
            if (m_state != State::open)
                return;
            m_state = State::ended;
        }
        m_taker->wake();
    }

    /// Nobody wants the rest.
    void abandon() {
        std::vector<T> rest; // which may do anything when it goes
        {
            const std::lock_guard lock(m_mutex);
            m_state = State::abandoned;
            rest.swap(m_items);
        }
        m_taker->wake();
    }

    /// What is there; waits for nothing.
    Portion take() {
        const std::lock_guard lock(m_mutex);
        return {std::exchange(m_items, {}), m_state};
    }

    /// Whether more may come.
    bool isOpen() const {
        const std::lock_guard lock(m_mutex);
        return m_state == State::open;
    }

    /// Whether there is something to take, or nothing more to come.
    bool hasNews() const {
        const std::lock_guard lock(m_mutex);
        return !m_items.empty() || m_state != State::open;
    }

private:
    const std::shared_ptr<WakeUp> m_taker;
    mutable std::mutex m_mutex;
    State m_state = State::open;
    std::vector<T> m_items;
};

} // namespace quillora::platform
