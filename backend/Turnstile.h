#pragma once

#include "backend/Metrics.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <list>
#include <memory>

namespace quillora::backend {

/// Lets so many through at once; so many more wait for their turn, in the order in which they came, and
/// whoever comes then is sent away.
class Turnstile {
public:
    /// A place among those who were let through, given back with this object.
    class Turn {
    public:
        explicit Turn(Turnstile &turnstile) : m_turnstile(&turnstile) {}
        Turn(Turn &&other) noexcept : m_turnstile(std::exchange(other.m_turnstile, nullptr)) {}
        Turn(const Turn &) = delete;
        Turn &operator=(Turn &&) = delete;
        Turn &operator=(const Turn &) = delete;
        ~Turn() {
            if (m_turnstile)
                m_turnstile->leave();
        }

    private:
        Turnstile *m_turnstile;
    };

    Turnstile(boost::asio::any_io_executor executor, std::size_t runningLimit, std::size_t waitingLimit,
              Metrics &metrics);

    /// Throws a Refusal if nobody may wait any more, or the turn has not come by then. Who is cancelled
    /// leaves the queue.
    boost::asio::awaitable<Turn> enter(std::chrono::steady_clock::time_point deadline);

private:
    struct Waiter;

    void leave() noexcept;
    void tell();

    boost::asio::any_io_executor m_executor;
    std::size_t m_runningLimit;
    std::size_t m_waitingLimit;
    std::size_t m_running = 0;
    std::list<std::shared_ptr<Waiter>> m_waiters;
    Metrics &m_metrics;
};

} // namespace quillora::backend
