#include "backend/Service.h"

#include "backend/Log.h"
#include "backend/ModelAnswer.h"
#include "backend/Prompt.h"
#include "backend/Randomness.h"
#include "backend/Refusal.h"
#include "backend/Text.h"

#include <boost/asio/this_coro.hpp>
#include <boost/json.hpp>

#include <algorithm>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace quillora::backend {

namespace asio = boost::asio;
using std::chrono::steady_clock;

namespace {

constexpr std::string_view translatePath = "/v1/translate";
constexpr std::string_view bearer = "bearer ";
constexpr std::size_t digitsOfADevice = 32;
constexpr unsigned wrongMethod = 405;

/// What can be done at a path; nothing if there is none.
std::vector<std::string_view> methodsOf(std::string_view path) {
    if (path == translatePath)
        return {"POST"};
    if (path == "/healthz" || path == "/readyz" || path == "/metrics")
        return {"GET", "HEAD"};
    return {};
}

std::string joined(const std::vector<std::string_view> &words, std::string_view between) {
    std::string text;
    for (const auto word : words)
        text.append(text.empty() ? "" : between).append(word);
    return text;
}

double milliseconds(steady_clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// What a file is now; another text when it has been replaced or changed.
std::string stateOf(const std::string &path) {
    struct stat state{};
    if (stat(path.c_str(), &state) != 0)
        return {};
    return std::to_string(state.st_ino) + "/" + std::to_string(state.st_size) + "/" +
           std::to_string(state.st_mtim.tv_sec) + "." + std::to_string(state.st_mtim.tv_nsec);
}

} // namespace

Service::Service(const asio::any_io_executor &executor, const Configuration &configuration)
    : m_configuration(configuration),
      m_turnstile(executor, configuration.runningLimit, configuration.waitingLimit, m_metrics),
      m_upstream(executor, configuration, m_metrics) {
    if (!m_configuration.tokenFile.empty()) {
        m_tokenFileState = stateOf(m_configuration.tokenFile);
        m_tokens = Tokens::read(m_configuration.tokenFile);
    }
    if (!m_configuration.redis.host.empty())
        m_shared = std::make_unique<SharedState>(executor, configuration);
}

asio::awaitable<void> Service::refreshTokens() {
    if (m_shared)
        m_metrics.setRedis(m_shared->isThere());
    if (m_configuration.tokenFile.empty())
        co_return;
    if (!m_shared) {
        refreshTokensFromFile();
        co_return;
    }
    const auto tokens = co_await m_shared->changedTokens();
    if (!tokens)
        co_return;
    m_tokens = *tokens;
    log("tokens", {{"count", static_cast<unsigned>(m_tokens.entries().size())}});
    try {
        // For a start while Redis is away.
        m_tokens.write(m_configuration.tokenFile);
    } catch (const std::runtime_error &error) {
        log("tokens", {{"error", std::string(error.what())}});
    }
}

void Service::refreshTokensFromFile() {
    if (stateOf(m_configuration.tokenFile) == m_tokenFileState)
        return;
    m_tokenFileState = stateOf(m_configuration.tokenFile);
    try {
        m_tokens = Tokens::read(m_configuration.tokenFile);
        log("tokens", {{"count", static_cast<unsigned>(m_tokens.entries().size())}});
    } catch (const std::runtime_error &error) {
        log("tokens", {{"error", std::string(error.what())}});
    }
}

std::optional<Reply> Service::objectionTo(Request &head) {
    try {
        requireAddress(head);
        if (head.path == translatePath) {
            requireToken(head);
            requireType(head);
        }
        return {};
    } catch (const Refusal &refused) {
        Account account;
        account.reason = refused.reason();
        auto reply = refusal(refused.status(), refused.what());
        if (refused.status() == wrongMethod)
            reply.allow = joined(methodsOf(head.path), ", ");
        return finished(head, std::move(reply), account);
    }
}

asio::awaitable<Reply> Service::answer(Request request) {
    Account account;
    Reply reply;
    try {
        reply = co_await route(request, account);
    } catch (const Refusal &refused) {
        account.reason = refused.reason();
        reply = refusal(refused.status(), refused.what(), refused.retryAfter());
    } catch (const std::exception &) {
        account.reason = "internal";
        reply = refusal(500, "The translation backend failed. Try again.");
    }
    const auto cancellation = co_await asio::this_coro::cancellation_state;
    if (cancellation.cancelled() != asio::cancellation_type::none) {
        account.reason = "left";
        reply = refusal(499, "The request was taken back.");
    }
    co_return finished(request, std::move(reply), account);
}

Reply Service::answerToGarbage(unsigned status, const std::string &sentence) {
    Account account;
    account.reason = "http";
    return finished({}, refusal(status, sentence), account);
}

asio::awaitable<Reply> Service::route(Request &request, Account &account) {
    const auto &path = request.path;
    if (path == "/healthz")
        co_return Reply::text(200, "alive\n");
    if (path == "/metrics")
        co_return Reply::text(200, m_metrics.text(), "text/plain; version=0.0.4; charset=utf-8");
    if (path == "/readyz") {
        const bool isReady = !m_isStopping && co_await m_upstream.answers();
        co_return isReady ? Reply::text(200, "ready\n") : Reply::text(503, "the model does not answer\n");
    }
    co_return co_await translate(request, account);
}

asio::awaitable<Reply> Service::translate(Request &request, Account &account) {
    const auto deadline = request.begin + m_configuration.patience;
    // While it waits for its turn it needs no more than it asks for.
    const auto wanted = TranslationRequest::decoded(std::exchange(request.body, {}));
    requireSense(wanted, account);
    co_await requireModesty(request);

    const auto turn = co_await m_turnstile.enter(deadline);
    const Prompt prompt(m_configuration.prompt, m_configuration.model, wanted);
    const auto asked = steady_clock::now();
    const auto answer = co_await m_upstream.ask(prompt.body, deadline);
    account.upstream = steady_clock::now() - asked;
    const auto translation = translationIn(answer, wanted, prompt.mark);
    co_return Reply::of(200, boost::json::serialize(boost::json::object{{"translation", translation}}));
}

void Service::requireAddress(const Request &head) const {
    const auto methods = methodsOf(head.path);
    if (methods.empty())
        throw Refusal(404, "path", "There is nothing at this address.");
    requireLocalName(head);
    if (std::ranges::find(methods, head.method) == methods.end())
        throw Refusal(wrongMethod, "method", "Only " + joined(methods, " and ") + " can be used here.");
}

/// Without tokens, only somebody on this computer may ask, and no page that a browser there has open under a
/// name of its own that leads here.
void Service::requireLocalName(const Request &head) const {
    if (m_configuration.tokenFile.empty() && !head.host.empty() && !isThisComputer(head.host))
        throw Refusal(403, "host", "This translation backend serves its own computer only.");
}

void Service::requireToken(Request &head) const {
    if (m_configuration.tokenFile.empty())
        return;
    const std::string_view header = head.authorization;
    const bool isBearer = lowered(header.substr(0, bearer.size())) == bearer;
    const auto owner =
        isBearer ? m_tokens.ownerOf(trimmed(header.substr(bearer.size()))) : std::optional<std::string>();
    if (!owner)
        throw Refusal(401, "token",
                      header.empty() ? "This translation backend asks for a subscription token."
                                     : "The subscription token is not valid.");
    head.owner = *owner;
}

/// A page in a browser can send other types than this one to any address without being asked.
void Service::requireType(const Request &head) {
    if (!lowered(head.contentType).starts_with("application/json"))
        throw Refusal(415, "type", "The request is not JSON.");
}

void Service::requireSense(const TranslationRequest &wanted, Account &account) const {
    account.characters = characterCount(wanted.text);
    if (trimmed(wanted.text).empty())
        throw Refusal(400, "request", "There is no text to translate.");
    if (account.characters > m_configuration.textLimit)
        throw Refusal(413, "length",
                      "The text is too long: this translation backend takes " +
                          std::to_string(m_configuration.textLimit) + " characters at once.");
    if (!isLanguageName(wanted.sourceLanguage))
        throw Refusal(400, "request", "The request's \"sourceLanguage\" is not the name of a language.");
    const auto &targets = m_configuration.targets;
    if (!isLanguageName(wanted.targetLanguage))
        throw Refusal(400, "request", "The request's \"targetLanguage\" is not the name of a language.");
    if (std::find(targets.begin(), targets.end(), wanted.targetLanguage) == targets.end())
        throw Refusal(422, "language",
                      "This translation backend does not translate into " + wanted.targetLanguage + ".");
    account.target = wanted.targetLanguage;
}

asio::awaitable<void> Service::requireModesty(const Request &request) {
    // The same on each backend, and no identifier.
    const auto device = hexadecimal(digest(request.device)).substr(0, digitsOfADevice);
    if (!request.device.empty())
        co_await requireLimit("device", device, m_configuration.devicePerMinute);
    if (!request.owner.empty())
        co_await requireLimit("token", request.owner, m_configuration.tokenPerMinute);
}

asio::awaitable<void> Service::requireLimit(std::string kind, std::string name, std::size_t most) {
    const auto now = Limits::Clock::now();
    // Here too, so that there is a count to go on with when Redis goes away.
    auto count = m_limits.count(kind + ":" + name, now);
    if (m_shared)
        count = (co_await m_shared->count(kind + ":" + name, Limits::minuteOf(now))).value_or(count);
    if (count <= most)
        co_return;
    m_metrics.countLimit(kind);
    const auto wait = Limits::untilNextMinute(now);
    throw Refusal(429, "limit_" + kind,
                  "Too many translations within a minute. Try again in " + std::to_string(wait.count()) +
                      (wait.count() == 1 ? " second." : " seconds."),
                  wait);
}

/// What is sent, once it has been told of.
Reply Service::finished(const Request &request, Reply reply, const Account &account) {
    record(request, reply, account);
    reply.hasNoBody = request.method == "HEAD";
    return reply;
}

void Service::record(const Request &request, const Reply &reply, const Account &account) {
    // Whoever watches asks every few seconds; that all is well is no news.
    if (reply.status == 200 && request.path != translatePath)
        return;
    const auto took = steady_clock::now() - request.begin;
    m_metrics.countRequest(reply.status, took);
    if (account.reason == "queue")
        m_metrics.countLimit("queue");
    const auto known =
        request.path == translatePath || request.path == "/readyz" ? request.path : std::string();
    log("request", {{"status", reply.status},
                    {"path", known},
                    {"reason", account.reason},
                    {"milliseconds", milliseconds(took)},
                    {"upstreamMilliseconds", milliseconds(account.upstream)},
                    {"characters", static_cast<unsigned>(account.characters)},
                    {"target", account.target},
                    {"token", request.owner},
                    {"device", request.device.empty() ? std::string() : pseudonym(request.device)}});
}

} // namespace quillora::backend
