#pragma once

#include "backend/Configuration.h"
#include "backend/Metrics.h"
#include "backend/Stream.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillora::backend {

/// The model's server. Keeps connections to it.
class Upstream {
public:
    Upstream(boost::asio::any_io_executor executor, const Configuration &configuration, Metrics &metrics);
    ~Upstream();

    /// What it answers with status 200 to a question. Asks again only where it is certain that nothing was
    /// done, and there is time. Throws a Refusal. Cancelled, it closes the connection, by which the model's
    /// server learns that nobody waits.
    boost::asio::awaitable<std::string> ask(std::string question,
                                            std::chrono::steady_clock::time_point deadline);

    /// Whether something answers there. Asks at most every few seconds.
    boost::asio::awaitable<bool> answers();

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    struct Search;
    struct Answer;
    struct Outcome;

    boost::asio::awaitable<Outcome> attempt(const std::string &request, TimePoint deadline);
    boost::asio::awaitable<std::shared_ptr<Stream>> connection(TimePoint deadline);
    /// Keeps the connection for the next question if that may come.
    boost::asio::awaitable<Answer> exchange(std::shared_ptr<Stream> stream, const std::string &request);
    boost::asio::awaitable<Stream::Endpoints> endpoints(TimePoint deadline);
    boost::asio::awaitable<void> search(std::shared_ptr<Search> search);
    void forgetAddresses();
    boost::asio::awaitable<void> pause(std::chrono::milliseconds duration);
    std::shared_ptr<Stream> idleConnection();
    std::string encoded(std::string_view method, const std::string &body) const;

    boost::asio::any_io_executor m_executor;
    Endpoint m_endpoint;
    std::string m_key;
    std::shared_ptr<boost::asio::ssl::context> m_trust;
    Metrics &m_metrics;
    std::shared_ptr<Search> m_search;
    std::vector<std::shared_ptr<Stream>> m_idle; ///< the one that was used last comes last
    bool m_didAnswer = false;
    TimePoint m_lastLook;
};

} // namespace quillora::backend
