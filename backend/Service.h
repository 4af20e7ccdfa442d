#pragma once

#include "backend/Configuration.h"
#include "backend/Limits.h"
#include "backend/Messages.h"
#include "backend/Metrics.h"
#include "backend/Prompt.h"
#include "backend/SharedState.h"
#include "backend/Tokens.h"
#include "backend/Turnstile.h"
#include "backend/Upstream.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <memory>
#include <string>

namespace quillora::backend {

/// What the backend answers to a request, whatever carries that.
class Service {
public:
    Service(const boost::asio::any_io_executor &executor, const Configuration &configuration);

    /// Never throws. A line of the log tells of it. Cancelled, it gives up whatever it is doing, the question
    /// to the model too.
    boost::asio::awaitable<Reply> answer(Request request);

    /// The answer to what is no request at all.
    Reply answerToGarbage(unsigned status, const std::string &sentence);

    /// Reads the tokens again if they have changed; keeps those it has if they cannot be read.
    boost::asio::awaitable<void> refreshTokens();

    /// From here on it is not ready for more.
    void beginToStop() { m_isStopping = true; }

    Metrics &metrics() { return m_metrics; }

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// What the log tells of a request.
    struct Account {
        TimePoint begin = std::chrono::steady_clock::now();
        std::chrono::steady_clock::duration upstream{};
        std::string reason;
        std::string owner;
        std::string target;
        std::size_t characters = 0;
    };

    boost::asio::awaitable<Reply> route(const Request &request, Account &account);
    boost::asio::awaitable<Reply> translate(const Request &request, Account &account);
    void requireToken(const Request &request, Account &account) const;
    void requireLocalName(const Request &request) const;
    void requireSense(const TranslationRequest &wanted, Account &account) const;
    boost::asio::awaitable<void> requireModesty(const Request &request, const Account &account);
    boost::asio::awaitable<void> requireLimit(std::string kind, std::string name, std::size_t most);
    void refreshTokensFromFile();
    void record(const Request &request, const Reply &reply, const Account &account);

    Configuration m_configuration;
    Metrics m_metrics;
    Turnstile m_turnstile;
    Upstream m_upstream;
    Limits m_limits;
    Tokens m_tokens;
    std::string m_tokenFileState;
    std::unique_ptr<SharedState> m_shared; ///< null if nothing is shared
    bool m_isStopping = false;
};

} // namespace quillora::backend
