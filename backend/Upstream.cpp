#include "backend/Upstream.h"

#include "backend/Inflow.h"
#include "backend/Refusal.h"

#include <boost/asio/cancellation_state.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <algorithm>
#include <charconv>

namespace quillora::backend {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using std::chrono::steady_clock;

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t bodyLimit = 4U << 20U;
constexpr std::size_t pieceBytes = 16U << 10U;
constexpr std::size_t mostIdle = 64;
constexpr auto longestIdle = 15s;
constexpr auto longestConnect = 5s;
constexpr auto longestSearch = 10s;
constexpr auto addressesStay = 30s;
constexpr auto looksStay = 3s;
constexpr auto leastForAnAnswer = 1s;
constexpr int mostAttempts = 4;

/// Between attempts to connect to one that refuses: it may be starting.
constexpr auto firstPause = 200ms;

Refusal unreachable() { return {502, "upstream_unreachable", "The translation model cannot be reached."}; }

Refusal slow() { return {504, "upstream_slow", "The translation model took too long."}; }

Refusal brokenOff() {
    return {502, "upstream_broken_off", "The translation model broke off its answer. Try again."};
}

std::optional<std::chrono::seconds> secondsIn(std::string_view header) {
    unsigned seconds = 0;
    const auto [end, failure] = std::from_chars(header.data(), header.data() + header.size(), seconds);
    // A date is another way to say it, which nobody is seen to use here.
    if (failure != std::errc() || end != header.data() + header.size())
        return {};
    return std::chrono::seconds(seconds);
}

} // namespace

struct Upstream::Search {
    std::vector<std::weak_ptr<asio::steady_timer>> waiters; ///< a timer of each
    Stream::Endpoints found;
    bool isOver = false;
    TimePoint since = steady_clock::now();

    bool isOutdated() const {
        return isOver && (found.empty() || steady_clock::now() - since > addressesStay);
    }
};

struct Upstream::Answer {
    unsigned status = 0;
    std::optional<std::chrono::seconds> retryAfter;
    std::string body;
};

/// Of one attempt: an answer, or why there is none and, if nothing was done, how long to wait before the
/// next.
struct Upstream::Outcome {
    explicit Outcome(std::string answer) : body(std::move(answer)) {}
    explicit Outcome(Refusal why, std::optional<std::chrono::milliseconds> wait = {})
        : refusal(std::move(why)), pause(wait) {}

    std::string body;
    std::optional<Refusal> refusal;
    std::optional<std::chrono::milliseconds> pause;
};

namespace {

Refusal refusalFor(unsigned status, std::optional<std::chrono::seconds> retryAfter) {
    const auto reason = "upstream_status_" + std::to_string(status);
    switch (status) {
    case 401:
    case 403:
        return {502, reason,
                "The translation model refused this backend's own key. Tell whoever runs the backend."};
    case 404:
        return {502, reason, "The translation model was not found. Tell whoever runs the backend."};
    case 413:
        return {502, reason, "The text is too long for the translation model."};
    case 429:
    case 503:
        return {503, reason, "The translation model is busy. Try again in a few seconds.",
                retryAfter.value_or(5s)};
    default:
        return {502, reason, "The translation model failed. Try again."};
    }
}

} // namespace

Upstream::Upstream(asio::any_io_executor executor, const Configuration &configuration, Metrics &metrics)
    : m_executor(std::move(executor)), m_endpoint(configuration.upstream), m_key(configuration.upstreamKey),
      m_trust(m_endpoint.isTls ? clientContext(configuration.authoritiesFile) : nullptr), m_metrics(metrics) {
}

Upstream::~Upstream() = default;

asio::awaitable<std::string> Upstream::ask(std::string question, TimePoint deadline) {
    const auto request = encoded("POST", question);
    for (int number = 1;; ++number) {
        const auto begin = steady_clock::now();
        auto outcome = co_await attempt(request, deadline);
        m_metrics.countUpstream(steady_clock::now() - begin);
        if (!outcome.refusal)
            co_return std::move(outcome.body);
        const bool isInTime =
            outcome.pause && steady_clock::now() + *outcome.pause + leastForAnAnswer < deadline;
        if (!isInTime || number == mostAttempts)
            throw *outcome.refusal;
        m_metrics.countRetry();
        co_await pause(outcome.pause == 0ms ? firstPause * number : *outcome.pause);
    }
}

asio::awaitable<Upstream::Outcome> Upstream::attempt(const std::string &request, TimePoint deadline) {
    const auto cancellation = co_await asio::this_coro::cancellation_state;
    const auto isCancelled = [&] { return cancellation.cancelled() != asio::cancellation_type::none; };
    std::shared_ptr<Stream> stream;
    try {
        stream = co_await connection(deadline);
    } catch (const boost::system::system_error &error) {
        if (isCancelled())
            throw;
        forgetAddresses();
        if (error.code() == asio::error::connection_refused)
            co_return Outcome(unreachable(), 0ms);
        co_return Outcome(steady_clock::now() >= deadline ? slow() : unreachable());
    }
    try {
        stream->expireAt(deadline);
        auto answer = co_await exchange(stream, request);
        if (answer.status == 200)
            co_return Outcome(std::move(answer.body));
        std::optional<std::chrono::milliseconds> pause;
        if (answer.status == 429 && answer.retryAfter)
            pause = std::max(*answer.retryAfter, std::chrono::seconds(1));
        co_return Outcome(refusalFor(answer.status, answer.retryAfter), pause);
    } catch (const boost::system::system_error &) {
        if (isCancelled())
            throw;
        co_return Outcome(stream->hasExpired() ? slow() : brokenOff());
    }
}

asio::awaitable<std::shared_ptr<Stream>> Upstream::connection(TimePoint deadline) {
    if (auto idle = idleConnection())
        co_return idle;
    const auto addresses = co_await endpoints(deadline);
    auto stream = std::make_shared<Stream>(asio::ip::tcp::socket(m_executor));
    stream->expireAt(std::min(deadline, steady_clock::now() + longestConnect));
    co_await stream->connect(addresses);
    if (m_trust)
        co_await stream->handshakeAsClient(*m_trust, m_endpoint.address.host);
    co_return stream;
}

std::shared_ptr<Stream> Upstream::idleConnection() {
    while (!m_idle.empty()) {
        auto last = std::move(m_idle.back());
        m_idle.pop_back();
        // A question to one that is being closed would be lost, and nobody would know whether it was read.
        if (last->isFresh())
            return last;
    }
    return {};
}

asio::awaitable<Upstream::Answer> Upstream::exchange(std::shared_ptr<Stream> stream,
                                                     const std::string &request) {
    co_await stream->write(request);
    http::response_parser<http::string_body> parser;
    parser.eager(true);
    parser.header_limit(Inflow::headerLimit);
    parser.body_limit(bodyLimit);
    Inflow inflow;
    while (!parser.is_done()) {
        error_code failure;
        const auto count = co_await stream->readSome(inflow.room(pieceBytes));
        inflow.add(count);
        if (count == 0) {
            // The parser takes the end of nothing for the end of an answer.
            if (parser.is_header_done())
                parser.put_eof(failure);
            if (!parser.is_done())
                throw boost::system::system_error(http::error::partial_message);
            break;
        }
        failure = inflow.pourInto(parser);
        if (failure && failure != http::error::need_more)
            throw boost::system::system_error(failure);
    }
    auto message = parser.release();
    if (message.keep_alive() && inflow.isEmpty() && m_idle.size() < mostIdle) {
        stream->expireAt(steady_clock::now() + longestIdle);
        m_idle.push_back(stream);
    }
    co_return Answer{.status = message.result_int(),
                     .retryAfter = secondsIn(message[http::field::retry_after]),
                     .body = std::move(message.body())};
}

/// One search for all who need it; they give up on it by themselves, since the system's own cannot be ended.
asio::awaitable<Stream::Endpoints> Upstream::endpoints(TimePoint deadline) {
    if (!m_search || m_search->isOutdated()) {
        m_search = std::make_shared<Search>();
        asio::co_spawn(m_executor, search(m_search), asio::detached);
    }
    const auto current = m_search;
    if (!current->isOver) {
        const auto end = std::min(deadline, steady_clock::now() + longestSearch);
        const auto patience = std::make_shared<asio::steady_timer>(m_executor, end);
        current->waiters.push_back(patience);
        error_code ended;
        co_await patience->async_wait(asio::redirect_error(asio::use_awaitable, ended));
    }
    if (current->found.empty())
        throw boost::system::system_error(asio::error::host_not_found);
    co_return current->found;
}

asio::awaitable<void> Upstream::search(std::shared_ptr<Search> search) {
    const auto &[host, port] = m_endpoint.address;
    error_code failure;
    const auto literal = asio::ip::make_address(host, failure);
    if (!failure) {
        search->found.emplace_back(literal, port);
    } else {
        asio::ip::tcp::resolver resolver(m_executor);
        const auto results = co_await resolver.async_resolve(
            host, std::to_string(port), asio::redirect_error(asio::use_awaitable, failure));
        for (const auto &result : results)
            search->found.push_back(result.endpoint());
    }
    search->isOver = true;
    for (const auto &waiter : search->waiters) {
        if (const auto patience = waiter.lock())
            patience->cancel();
    }
}

/// Those that lead nowhere. A search that goes on is still of use: another one would wait for its end.
void Upstream::forgetAddresses() {
    if (m_search && m_search->isOver)
        m_search.reset();
}

asio::awaitable<void> Upstream::pause(std::chrono::milliseconds duration) {
    asio::steady_timer timer(m_executor, duration);
    co_await timer.async_wait(asio::use_awaitable);
}

asio::awaitable<bool> Upstream::answers() {
    if (steady_clock::now() - m_lastLook < looksStay)
        co_return m_didAnswer;
    m_lastLook = steady_clock::now();
    // What it finds is for whoever asks next too.
    co_await asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
    bool didAnswer = false;
    try {
        auto stream = co_await connection(m_lastLook + longestConnect);
        stream->expireAt(m_lastLook + longestConnect);
        // Only questions are answered there; that it says so is an answer.
        const auto answer = co_await exchange(stream, encoded("GET", {}));
        didAnswer = answer.status < 500;
    } catch (const boost::system::system_error &) {
        forgetAddresses();
    }
    m_didAnswer = didAnswer;
    co_return didAnswer;
}

std::string Upstream::encoded(std::string_view method, const std::string &body) const {
    std::string bytes(method);
    bytes += " " + m_endpoint.target + " HTTP/1.1\r\nHost: " + m_endpoint.authority() +
             "\r\nUser-Agent: quillora-backend\r\nAccept: application/json\r\n";
    if (!m_key.empty())
        bytes += "Authorization: Bearer " + m_key + "\r\n";
    if (method == "POST")
        bytes += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    return bytes + "\r\n" + body;
}

} // namespace quillora::backend
