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
#include <optional>
#include <string>

namespace quillora::backend {

/// What the backend answers to a request, whatever carries that.
class Service {
public:
    Service(const boost::asio::any_io_executor &executor, const Configuration &configuration);

    /// What there is to say against a request before its body has come, told to the log; nothing if it may
    /// come. Notes whose token it bears.
    std::optional<Reply> objectionTo(Request &head);

    /// To a request that nothing was said against. Never throws. A line of the log tells of it. Cancelled, it
    /// gives up whatever it is doing, the question to the model too.
    boost::asio::awaitable<Reply> answer(Request request);

    /// The answer to what is no request at all.
    Reply answerToGarbage(unsigned status, const std::string &sentence);

    /// Reads the tokens again if they have changed; keeps those it has if they cannot be read.
    boost::asio::awaitable<void> refreshTokens();

    /// From here on it is not ready for more.
    void beginToStop() { m_isStopping = true; }

    Metrics &metrics() { return m_metrics; }

private:
    /// What the log tells of a request.
    struct Account {
        std::chrono::steady_clock::duration upstream{};
        std::string reason;
        std::string target;
        std::size_t characters = 0;
    };

    boost::asio::awaitable<Reply> route(Request &request, Account &account);
    boost::asio::awaitable<Reply> translate(Request &request, Account &account);
    void requireAddress(const Request &head) const;
    void requireLocalName(const Request &head) const;
    void requireToken(Request &head) const;
    static void requireType(const Request &head);
    void requireSense(const TranslationRequest &wanted, Account &account) const;
    boost::asio::awaitable<void> requireModesty(const Request &request);
    boost::asio::awaitable<void> requireLimit(std::string kind, std::string name, std::size_t most);
    void refreshTokensFromFile();
    Reply finished(const Request &request, Reply reply, const Account &account);
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
