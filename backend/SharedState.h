#pragma once

#include "backend/Configuration.h"
#include "backend/Tokens.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillora::backend {

class RedisConnection;

/// What several backends share by way of Redis, asked on a thread of its own. While Redis is away every
/// answer is nothing, at once, but for those that were on their way.
class SharedState {
public:
    SharedState(boost::asio::any_io_executor executor, const Configuration &configuration);
    ~SharedState();
    SharedState(const SharedState &) = delete;
    SharedState &operator=(const SharedState &) = delete;

    /// Counts one more for `name` and says how many have come in this minute, wherever.
    boost::asio::awaitable<std::optional<std::size_t>> count(std::string name, std::int64_t minute);

    /// The tokens if they have changed since they were received last.
    boost::asio::awaitable<std::optional<Tokens>> changedTokens();

    /// Whether Redis answered last.
    bool isThere() const;

private:
    struct Worker;

    /// What the thread answers, which has the connection; nothing if that takes too long.
    template <typename Answer>
    boost::asio::awaitable<std::optional<Answer>>
    ask(std::function<std::optional<Answer>(RedisConnection &)> question);

    boost::asio::any_io_executor m_executor;
    std::string m_prefix;
    std::string m_editionOfTokens; ///< that was received last
    std::shared_ptr<Worker> m_worker;
};

} // namespace quillora::backend
