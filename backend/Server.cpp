#include "backend/Server.h"

#include "backend/Log.h"

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

constexpr std::uint32_t headerLimit = 16U << 10U;
constexpr std::size_t pieceBytes = 4U << 10U;
constexpr std::size_t bytesOfACharacter = 12; // two escapes of six
constexpr std::uint64_t bodyBytesBesides = 8U << 10U;

/// A client connects when somebody begins to speak and asks when he is done.
constexpr auto longestIdle = 180s;
constexpr auto longestHandshake = 10s;
constexpr auto longestRequest = 20s;
constexpr auto longestReply = 20s;
constexpr auto longestStop = 45s;
constexpr auto longestArrival = 2s;
constexpr auto pauseWithoutDescriptors = 100ms;
constexpr auto freshness = 250ms;
constexpr auto betweenLooksForLeavers = 250ms;
constexpr std::size_t descriptorsBesides = 64;

using Parser = http::request_parser<http::string_body>;

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

Request requestFrom(Parser::value_type message) {
    const auto field = [&](auto name) { return std::string(message[name]); };
    auto device = field("X-Quillora-Device-Id");
    if (device.empty())
        device = field("X-Cobaltwhisk-Device-Id"); // its name in earlier clients
    return {.method = std::string(message.method_string()),
            .path = std::string(message.target().substr(0, message.target().find('?'))),
            .host = field(http::field::host),
            .contentType = field(http::field::content_type),
            .authorization = field(http::field::authorization),
            .device = std::move(device),
            .body = std::move(message.body())};
}

} // namespace

/// One connection of a client.
struct Server::Session {
    std::shared_ptr<Stream> stream;
    Sessions::iterator place;
    std::string pending; ///< what came and belongs to no request yet
    bool isAnswering = false;
    bool isIdle = true; ///< not a byte of the next request has come
    bool hasServed = false;
    asio::cancellation_signal departure; ///< ends what is being done for the client

    asio::awaitable<error_code> receive(Parser &parser, steady_clock::duration patience);
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
            co_await session->stream->handshakeAsServer(*tls);
        }
        while (co_await serveNext(*session)) {
        }
    } catch (const boost::system::system_error &) {
        // Whoever breaks off wants no answer.
        session->stream->close();
    }
    leave(session);
}

/// Reads the next request, whose first byte may take so long. Tells why it is none, or of the end of the
/// stream if the client left before the request was whole.
asio::awaitable<error_code> Server::Session::receive(Parser &parser, steady_clock::duration patience) {
    bool didContinue = false;
    isIdle = pending.empty();
    stream->expireAt(steady_clock::now() + (isIdle ? patience : longestRequest));
    while (!parser.is_done()) {
        if (!pending.empty()) {
            error_code failure;
            pending.erase(0, parser.put(asio::buffer(pending), failure));
            if (failure && failure != http::error::need_more)
                co_return failure;
            if (parser.is_done())
                break;
            if (parser.is_header_done() && !didContinue &&
                parser.get()[http::field::expect] == "100-continue") {
                didContinue = true;
                co_await stream->write("HTTP/1.1 100 Continue\r\n\r\n");
            }
            if (!failure)
                continue;
        }
        const auto begin = pending.size();
        pending.resize(begin + pieceBytes);
        const auto count = co_await stream->readSome(std::span(pending).subspan(begin));
        pending.resize(begin + count);
        if (count == 0)
            co_return asio::error::eof;
        if (std::exchange(isIdle, false))
            stream->expireAt(steady_clock::now() + longestRequest);
    }
    co_return error_code();
}

/// False once nothing more is to be served on this connection.
asio::awaitable<bool> Server::serveNext(Session &session) {
    auto &stream = *session.stream;
    Parser parser;
    parser.header_limit(headerLimit);
    parser.body_limit(m_configuration.textLimit * bytesOfACharacter + bodyBytesBesides);
    const auto failure = co_await session.receive(parser, m_isStopping ? longestArrival : longestIdle);
    if (failure == asio::error::eof)
        co_return false;

    session.isAnswering = true;
    // What the client was given for asking is over; what the service takes for the answer is bounded there.
    stream.expireAt(steady_clock::now() + m_configuration.patience + longestReply);
    Reply reply;
    bool isLast = true;
    if (failure) {
        const auto [status, sentence] = statusFor(failure);
        reply = m_service.answerToGarbage(status, sentence);
    } else {
        isLast = !parser.keep_alive();
        reply = co_await asio::co_spawn(
            m_context, m_service.answer(requestFrom(parser.release())),
            asio::bind_cancellation_slot(session.departure.slot(), asio::use_awaitable));
    }
    isLast |= m_isStopping;
    stream.expireAt(steady_clock::now() + longestReply);
    const auto bytes = reply.encoded(isLast);
    co_await stream.write(bytes);
    session.isAnswering = false;
    session.hasServed = true;
    if (isLast) {
        co_await stream.leave();
        co_return false;
    }
    if (session.pending.empty())
        session.pending.shrink_to_fit();
    if (session.place != m_sessions.end())
        m_sessions.splice(m_sessions.end(), m_sessions, session.place);
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
    m_clock.expires_after(longestStop);
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
