#include "backend/Server.h"

#include "backend/Inflow.h"
#include "backend/Log.h"
#include "backend/Text.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <algorithm>
#include <csignal>
#include <sys/resource.h>

namespace quillora::backend {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using std::chrono::steady_clock;

namespace {

using namespace std::chrono_literals;

constexpr std::size_t pieceBytes = 4U << 10U;
constexpr std::size_t bytesOfACharacter = 12; // two escapes of six
constexpr std::uint64_t bodyBytesBesides = 8U << 10U;

/// Of all requests that are still on their way, which cost nobody a turn and anybody can begin.
constexpr std::size_t mostArriving = 32U << 20U;

/// Of a handshake, which counts as a request on its way.
constexpr std::size_t handshakeBytes = 52U << 10U;

/// Quillora connects while somebody speaks, and leaves by itself after 10 s without a request; others may
/// keep a connection between requests for longer.
constexpr auto longestIdle = 180s;
constexpr auto longestHandshake = 10s;
constexpr auto longestRequest = 20s;
constexpr auto longestReply = 20s;
constexpr auto longestArrival = 2s;
constexpr auto pauseWithoutDescriptors = 100ms;
constexpr auto freshness = 250ms;
constexpr auto betweenLooksForLeavers = 250ms;
constexpr std::size_t descriptorsBesides = 64;

using Message = http::request<http::string_body>;

/// As many descriptors as this process may have; how many connections that leaves.
std::size_t descriptorsForConnections(const Configuration &configuration) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    const auto others = configuration.runningLimit + descriptorsBesides;
    const auto left = limit.rlim_cur > others ? limit.rlim_cur - others : 1;
    return std::min<std::size_t>(left, configuration.connectionLimit);
}

std::pair<unsigned, std::string> statusFor(const error_code &failure) {
    if (failure == http::error::body_limit)
        return {413, "The request is too long."};
    if (failure == http::error::header_limit)
        return {431, "The request's header is too long."};
    return {400, "This is not an HTTP request."};
}

/// All but the body.
Request headOf(const Message &message) {
    const auto field = [&](auto name) { return std::string(message[name]); };
    auto device = field("X-Quillora-Device-Id");
    if (device.empty())
        device = field("X-Cobaltwhisk-Device-Id"); // its name in earlier clients
    Request request;
    request.method = message.method_string();
    request.path = message.target().substr(0, message.target().find('?'));
    request.host = field(http::field::host);
    request.contentType = field(http::field::content_type);
    request.authorization = field(http::field::authorization);
    request.device = std::move(device);
    return request;
}

bool waitsForLeave(const Message &message) {
    return lowered(std::string_view(message[http::field::expect])) == "100-continue";
}

} // namespace

struct Server::Parser : http::request_parser<http::string_body> {};

/// One connection of a client.
struct Server::Session {
    std::shared_ptr<Stream> stream;
    Sessions::iterator place;
    Inflow inflow;
    std::size_t arrived = 0;        ///< bytes of a request that is not whole yet
    steady_clock::time_point begin; ///< of the request
    bool isAnswering = false;
    bool isIdle = true; ///< not a byte of the next request has come
    bool hasServed = false;
    asio::cancellation_signal departure; ///< ends what is being done for the client
};

Server::Server(asio::io_context &context, const Configuration &configuration)
    : m_context(context), m_configuration(configuration), m_service(context.get_executor(), configuration),
      m_acceptor(listeningAt(context, configuration.listen)), m_signals(context, SIGTERM, SIGINT, SIGHUP),
      m_clock(context) {
    m_configuration.connectionLimit = descriptorsForConnections(configuration);
    loadCertificate();
}

Server::~Server() = default;

std::string Server::url() const {
    auto address = m_configuration.listen;
    address.port = m_acceptor.local_endpoint().port();
    return (m_tls ? "https://" : "http://") + address.text() + "/v1/translate";
}

bool Server::run() {
    asio::co_spawn(m_context, listenToSignals(), asio::detached);
    asio::co_spawn(m_context, keepFresh(), asio::detached);
    asio::co_spawn(m_context, watchForLeavers(), asio::detached);
    m_context.run();
    return m_sessions.empty();
}

asio::awaitable<void> Server::accept() {
    while (!m_isStopping) {
        error_code failure;
        auto socket = co_await m_acceptor.async_accept(asio::redirect_error(asio::use_awaitable, failure));
        if (failure && !m_isStopping) {
            asio::steady_timer pause(m_context, pauseWithoutDescriptors);
            co_await pause.async_wait(asio::use_awaitable);
        }
        if (!failure)
            welcome(std::move(socket));
    }
}

void Server::welcome(tcp::socket socket) {
    makeRoom();
    if (m_sessions.size() >= m_configuration.connectionLimit)
        return; // all of them are being answered
    const auto session = std::make_shared<Session>();
    session->stream = std::make_shared<Stream>(std::move(socket));
    session->place = m_sessions.insert(m_sessions.end(), session);
    m_service.metrics().setConnections(m_sessions.size());
    asio::co_spawn(m_context, serve(session), asio::detached);
}

/// Whoever has long asked nothing, or is slow at asking, makes way for a new one.
void Server::makeRoom() {
    if (m_sessions.size() < m_configuration.connectionLimit)
        return;
    const auto oldest = std::find_if(m_sessions.begin(), m_sessions.end(),
                                     [](const auto &session) { return !session->isAnswering; });
    if (oldest == m_sessions.end())
        return;
    (*oldest)->stream->close();
    leave(*oldest);
}

void Server::leave(const std::shared_ptr<Session> &session) {
    settle(*session);
    if (session->place == m_sessions.end())
        return;
    m_sessions.erase(std::exchange(session->place, m_sessions.end()));
    m_service.metrics().setConnections(m_sessions.size());
    if (m_isStopping && m_sessions.empty())
        m_context.stop();
}

asio::awaitable<void> Server::serve(std::shared_ptr<Session> session) {
    try {
        // It belongs to this connection for as long as that lasts, though there may be another by then.
        const auto tls = m_tls;
        if (tls) {
            session->stream->expireAt(steady_clock::now() + longestHandshake);
            co_await session->stream->firstBytes();
            moveToEnd(*session);
            keep(*session, handshakeBytes);
            co_await session->stream->handshakeAsServer(*tls);
            settle(*session);
        }
        while (co_await serveNext(*session)) {
        }
    } catch (const boost::system::system_error &) {
        // Whoever breaks off wants no answer.
        session->stream->close();
    }
    leave(session);
}

/// Brings the parser on by what is there, or else by what comes next. Tells why that is no request, or of the
/// end of the stream if the client left before the request was whole.
asio::awaitable<error_code> Server::advance(Session &session, Parser &parser) {
    const auto failure =
        session.inflow.isEmpty() ? error_code(http::error::need_more) : session.inflow.pourInto(parser);
    if (failure != http::error::need_more)
        co_return failure;
    const auto count = co_await session.stream->readSome(session.inflow.room(pieceBytes));
    session.inflow.add(count);
    // Who had to make way while that came is gone too.
    if (count == 0 || session.place == m_sessions.end())
        co_return asio::error::eof;
    if (session.isIdle)
        begin(session);
    keep(session, count);
    co_return error_code();
}

void Server::begin(Session &session) {
    session.isIdle = false;
    session.begin = steady_clock::now();
    session.stream->expireAt(session.begin + longestRequest);
    moveToEnd(session);
}

void Server::moveToEnd(Session &session) {
    if (session.place != m_sessions.end())
        m_sessions.splice(m_sessions.end(), m_sessions, session.place);
}

/// What is kept for requests that may never be whole is bounded: the one that began first makes way.
void Server::keep(Session &session, std::size_t count) {
    if (session.place == m_sessions.end())
        return;
    session.arrived += count;
    m_arriving += count;
    for (auto next = m_sessions.begin(); m_arriving > mostArriving && next != m_sessions.end();) {
        const auto slowest = *next++;
        if (slowest->arrived == 0)
            continue;
        slowest->stream->close();
        leave(slowest);
    }
}

void Server::settle(Session &session) { m_arriving -= std::exchange(session.arrived, 0); }

/// Reads the next request, and no more of it than its head if that is enough for an answer. Tells of what
/// `advance` does.
asio::awaitable<error_code> Server::receive(Session &session, Parser &parser, Request &request,
                                            std::optional<Reply> &answer) {
    session.isIdle = session.inflow.isEmpty();
    session.stream->expireAt(steady_clock::now() + (m_isStopping ? longestArrival : longestIdle));
    if (!session.isIdle)
        begin(session);
    while (!parser.is_header_done()) {
        if (const auto failure = co_await advance(session, parser))
            co_return failure;
    }
    request = headOf(parser.get());
    request.begin = session.begin;
    answer = m_service.objectionTo(request);
    if (answer)
        co_return error_code();
    if (!parser.is_done() && waitsForLeave(parser.get()))
        co_await session.stream->write("HTTP/1.1 100 Continue\r\n\r\n");
    while (!parser.is_done()) {
        if (const auto failure = co_await advance(session, parser))
            co_return failure;
    }
    request.body = std::move(parser.get().body());
    co_return error_code();
}

/// False once nothing more is to be served on this connection.
asio::awaitable<bool> Server::serveNext(Session &session) {
    auto &stream = *session.stream;
    Parser parser;
    parser.header_limit(Inflow::headerLimit);
    parser.body_limit(m_configuration.textLimit * bytesOfACharacter + bodyBytesBesides);
    Request request;
    std::optional<Reply> reply;
    const auto failure = co_await receive(session, parser, request, reply);
    if (failure == asio::error::eof)
        co_return false;

    settle(session);
    session.isAnswering = true;
    // What the client was given for asking is over; what the service takes for the answer is bounded there.
    stream.expireAt(steady_clock::now() + m_configuration.patience + longestReply);
    const bool isWhole = !failure && parser.is_done();
    if (failure) {
        const auto [status, sentence] = statusFor(failure);
        reply = m_service.answerToGarbage(status, sentence);
    } else if (!reply) {
        reply = co_await asio::co_spawn(
            m_context, m_service.answer(std::move(request)),
            asio::bind_cancellation_slot(session.departure.slot(), asio::use_awaitable));
    }
    const bool isLast = !isWhole || !parser.keep_alive() || m_isStopping;
    stream.expireAt(steady_clock::now() + longestReply);
    const auto bytes = reply->encoded(isLast);
    co_await stream.write(bytes);
    session.isAnswering = false;
    session.hasServed = true;
    if (isLast) {
        co_await stream.leave();
        co_return false;
    }
    if (session.inflow.isEmpty())
        session.inflow.shrink();
    moveToEnd(session);
    co_return true;
}

asio::awaitable<void> Server::listenToSignals() {
    for (;;) {
        const int number = co_await m_signals.async_wait(asio::use_awaitable);
        if (number != SIGHUP && m_isStopping)
            m_context.stop(); // somebody insists
        if (number != SIGHUP) {
            beginToStop();
            continue;
        }
        co_await m_service.refreshTokens();
        try {
            loadCertificate();
            log("reload");
        } catch (const std::runtime_error &error) {
            log("reload", {{"error", std::string(error.what())}});
        }
    }
}

asio::awaitable<void> Server::keepFresh() {
    // Whoever comes before the tokens are known waits for them.
    co_await m_service.refreshTokens();
    asio::co_spawn(m_context, accept(), asio::detached);
    while (!m_isStopping) {
        m_clock.expires_after(freshness);
        error_code ended;
        co_await m_clock.async_wait(asio::redirect_error(asio::use_awaitable, ended));
        co_await m_service.refreshTokens();
    }
    m_clock.expires_after(m_configuration.stopPatience);
    co_await m_clock.async_wait(asio::use_awaitable);
    m_context.stop();
}

/// Looked for from time to time: who has sent more than is read yet would hide his end from who waits for it.
asio::awaitable<void> Server::watchForLeavers() {
    asio::steady_timer clock(m_context);
    for (;;) {
        clock.expires_after(betweenLooksForLeavers);
        co_await clock.async_wait(asio::use_awaitable);
        for (const auto &session : m_sessions) {
            if (session->isAnswering && session->stream->isLeft())
                session->departure.emit(asio::cancellation_type::terminal);
        }
    }
}

void Server::loadCertificate() {
    if (!m_configuration.certificateFile.empty())
        m_tls = serverContext(m_configuration.certificateFile, m_configuration.privateKeyFile);
}

/// Those who stand before it already come in.
void Server::closeDoor() {
    error_code failure;
    m_acceptor.non_blocking(true, failure);
    while (!failure) {
        tcp::socket socket(m_context);
        m_acceptor.accept(socket, failure);
        if (!failure)
            welcome(std::move(socket));
    }
    m_acceptor.close();
}

void Server::beginToStop() {
    log("stop");
    m_isStopping = true;
    m_service.beginToStop();
    closeDoor();
    m_clock.cancel();
    const auto sessions = m_sessions;
    for (const auto &session : sessions) {
        if (!session->isIdle)
            continue;
        if (session->hasServed && session->stream->isFresh()) {
            session->stream->close();
            leave(session);
        } else {
            // Whoever has just come has his request on the way.
            session->stream->expireAt(steady_clock::now() + longestArrival);
        }
    }
    if (m_sessions.empty())
        m_context.stop();
}

} // namespace quillora::backend
