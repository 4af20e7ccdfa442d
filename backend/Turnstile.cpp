#include "backend/Turnstile.h"

#include "backend/Refusal.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace quillora::backend {

namespace asio = boost::asio;

namespace {

using namespace std::chrono_literals;

Refusal busy() { return {503, "queue", "The translation backend is busy. Try again in a few seconds.", 5s}; }

} // namespace

struct Turnstile::Waiter {
    asio::steady_timer patience;
    bool isLetThrough = false;
};

Turnstile::Turnstile(asio::any_io_executor executor, std::size_t runningLimit, std::size_t waitingLimit,
                     Metrics &metrics)
    : m_executor(std::move(executor)), m_runningLimit(runningLimit), m_waitingLimit(waitingLimit),
      m_metrics(metrics) {}

asio::awaitable<Turnstile::Turn> Turnstile::enter(std::chrono::steady_clock::time_point deadline) {
    if (m_running < m_runningLimit) {
        ++m_running;
        tell();
        co_return Turn(*this);
    }
    if (m_waiters.size() >= m_waitingLimit)
        throw busy();

    const auto waiter = std::make_shared<Waiter>(Waiter{asio::steady_timer(m_executor, deadline)});
    const auto place = m_waiters.insert(m_waiters.end(), waiter);
    tell();
    boost::system::error_code ended;
    co_await waiter->patience.async_wait(asio::redirect_error(asio::use_awaitable, ended));
    if (!waiter->isLetThrough) {
        m_waiters.erase(place);
        tell();
        if (ended)
            throw boost::system::system_error(ended);
        throw busy();
    }
    co_return Turn(*this);
}

void Turnstile::leave() noexcept { // NOLINT(bugprone-exception-escape): to cancel a timer cannot fail
    if (m_waiters.empty()) {
        --m_running;
    } else {
        // Who leaves hands over the place, so that nobody who comes now gets before those who wait.
        m_waiters.front()->isLetThrough = true;
        m_waiters.front()->patience.cancel();
        m_waiters.pop_front();
    }
    tell();
}

void Turnstile::tell() { m_metrics.setQueue(m_running, m_waiters.size()); }

} // namespace quillora::backend
