#include "backend/SharedState.h"

#include "backend/Log.h"
#include "backend/RedisConnection.h"
#include "backend/SharedTokens.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace quillora::backend {

namespace asio = boost::asio;

namespace {

using namespace std::chrono_literals;

constexpr auto betweenAttempts = 500ms;
constexpr auto countsStay = "120"; // seconds

/// Who waits for longer than Redis may take does so for nothing.
constexpr auto longestWait = 2s;
constexpr std::size_t mostJobs = 10000;

/// What a coroutine waits for and the thread brings.
template <typename T>
struct Delivery {
    explicit Delivery(const asio::any_io_executor &executor) : arrival(executor, longestWait) {}

    asio::steady_timer arrival;
    std::optional<T> value;
};

} // namespace

struct SharedState::Worker {
    /// Does something with the connection; a job without one is told that there is none.
    using Job = std::function<void(RedisConnection *)>;

    explicit Worker(const Configuration &given) : configuration(given) {}

    void enter(Job job) {
        {
            const std::lock_guard lock(mutex);
            if (jobs.size() < mostJobs)
                jobs.push_back(std::move(job));
        }
        change.notify_one();
    }

    void stop() {
        {
            const std::lock_guard lock(mutex);
            isStopping = true;
        }
        change.notify_one();
    }

    void run() {
        std::unique_ptr<RedisConnection> connection;
        for (;;) {
            if (!connection)
                connection = connected();
            std::unique_lock lock(mutex);
            const auto isCalled = [this] { return isStopping || !jobs.empty(); };
            if (connection)
                change.wait(lock, isCalled);
            else
                change.wait_for(lock, betweenAttempts, [this] { return isStopping; });
            if (isStopping)
                return;
            auto work = std::exchange(jobs, {});
            lock.unlock();
            for (const auto &job : work) {
                try {
                    job(connection.get());
                } catch (const std::runtime_error &error) {
                    connection.reset();
                    tell(Presence::away, error.what());
                    job(nullptr);
                }
            }
        }
    }

    enum class Presence { unknown, away, there };

    std::unique_ptr<RedisConnection> connected() {
        try {
            auto connection = std::make_unique<RedisConnection>(configuration);
            tell(Presence::there, {});
            return connection;
        } catch (const std::runtime_error &error) {
            tell(Presence::away, error.what());
            return {};
        }
    }

    void tell(Presence now, const std::string &error) {
        if (presence.exchange(now) != now)
            log("redis",
                {{"state", std::string(now == Presence::there ? "there" : "away")}, {"error", error}});
    }

    Configuration configuration;
    std::mutex mutex;
    std::condition_variable change;
    std::deque<Job> jobs;
    bool isStopping = false;
    std::atomic<Presence> presence = Presence::unknown;
    std::thread thread;
};

SharedState::SharedState(asio::any_io_executor executor, const Configuration &configuration)
    : m_executor(std::move(executor)), m_prefix(configuration.redisPrefix),
      m_worker(std::make_shared<Worker>(configuration)) {
    m_worker->thread = std::thread([worker = m_worker.get()] { worker->run(); });
}

SharedState::~SharedState() {
    m_worker->stop();
    m_worker->thread.join();
}

bool SharedState::isThere() const { return m_worker->presence == Worker::Presence::there; }

template <typename Answer>
asio::awaitable<std::optional<Answer>>
SharedState::ask(std::function<std::optional<Answer>(RedisConnection &)> question) {
    const auto delivery = std::make_shared<Delivery<Answer>>(m_executor);
    m_worker->enter(
        [delivery, question = std::move(question), executor = m_executor](RedisConnection *connection) {
            auto answer = connection ? question(*connection) : std::nullopt;
            asio::post(executor, [delivery, answer = std::move(answer)] {
                delivery->value = answer;
                delivery->arrival.cancel();
            });
        });
    boost::system::error_code ended;
    co_await delivery->arrival.async_wait(asio::redirect_error(asio::use_awaitable, ended));
    co_return delivery->value;
}

asio::awaitable<std::optional<std::size_t>> SharedState::count(std::string name, std::int64_t minute) {
    if (!isThere())
        co_return std::nullopt;
    const auto key = m_prefix + ":" + name + ":" + std::to_string(minute);
    co_return co_await ask<std::size_t>([key](RedisConnection &connection) -> std::optional<std::size_t> {
        const auto replies = connection.run({{"INCR", key}, {"EXPIRE", key, countsStay}});
        const auto *const number = std::get_if<long long>(&replies.front());
        return number ? std::optional(static_cast<std::size_t>(*number)) : std::nullopt;
    });
}

asio::awaitable<std::optional<Tokens>> SharedState::changedTokens() {
    struct Changed {
        std::string edition;
        Tokens tokens;
    };
    const auto changed = co_await ask<Changed>([known = m_editionOfTokens, prefix = m_prefix](
                                                   RedisConnection &connection) -> std::optional<Changed> {
        SharedTokens shared(connection, prefix);
        const auto edition = shared.edition();
        // Without one it holds no list: it may have lost it.
        if (!edition || *edition == known)
            return std::nullopt;
        return Changed{*edition, shared.read()};
    });
    if (!changed)
        co_return std::nullopt;
    // Not before: what comes too late is read again.
    m_editionOfTokens = changed->edition;
    co_return changed->tokens;
}

} // namespace quillora::backend
