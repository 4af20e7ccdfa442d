#include "backend/Stream.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <cerrno>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <stdexcept>
#include <system_error>

namespace quillora::backend {

namespace asio = boost::asio;
namespace ssl = asio::ssl;
using boost::system::error_code;
using std::chrono::steady_clock;

namespace {

using namespace std::chrono_literals;

constexpr auto farewell = 2s;
constexpr std::size_t farewellBytes = 1U << 20U;

/// The name of HTTP/1.1, behind its length.
constexpr std::string_view protocols("\x08http/1.1");

const unsigned char *unsignedBytes(std::string_view bytes) {
    return reinterpret_cast<const unsigned char *>(bytes.data());
}

int chooseProtocol(SSL *, const unsigned char **chosen, unsigned char *length, const unsigned char *offered,
                   unsigned int offeredLength, void *) {
    unsigned char *found = nullptr;
    const int outcome =
        SSL_select_next_proto(&found, length, unsignedBytes(protocols),
                              static_cast<unsigned>(protocols.size()), offered, offeredLength);
    *chosen = found;
    return outcome == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_ALERT_FATAL;
}

bool isEnd(const error_code &failure) {
    return failure == asio::error::eof || failure == ssl::error::stream_truncated ||
           failure == asio::error::connection_reset;
}

std::shared_ptr<ssl::context> newContext(ssl::context::method method) {
    auto context = std::make_shared<ssl::context>(method);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
    // Thousands of connections wait; their buffers would be most of the memory.
    SSL_CTX_set_mode(context->native_handle(), SSL_MODE_RELEASE_BUFFERS);
    // Whoever sends nothing but what TLS needs itself gives the others their turn in between.
    SSL_CTX_clear_mode(context->native_handle(), SSL_MODE_AUTO_RETRY);
    // Clients keep what they need to go on with.
    SSL_CTX_set_session_cache_mode(context->native_handle(), SSL_SESS_CACHE_OFF);
    return context;
}

/// Why a step of TLS failed that waits for nothing.
error_code causeOf(int kind, int systemError) {
    if (kind == SSL_ERROR_ZERO_RETURN)
        return asio::error::eof;
    if (kind == SSL_ERROR_SYSCALL && systemError != 0)
        return {systemError, boost::system::system_category()};
    const auto reason = ERR_get_error();
    if (reason == 0 || ERR_GET_REASON(reason) == SSL_R_UNEXPECTED_EOF_WHILE_READING)
        return ssl::error::stream_truncated;
    return {static_cast<int>(reason), asio::error::get_ssl_category()};
}

void throwUnlessDone(const error_code &failure) {
    if (failure)
        throw boost::system::system_error(failure);
}

} // namespace

Stream::Stream(asio::ip::tcp::socket socket)
    : m_socket(std::move(socket)), m_tls(nullptr, SSL_free), m_alarm(m_socket.get_executor()) {
    error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

Stream::~Stream() = default;

asio::awaitable<void> Stream::connect(const Endpoints &endpoints) {
    co_await asio::async_connect(m_socket, endpoints, asio::use_awaitable);
    error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

asio::awaitable<void> Stream::firstBytes() {
    co_await m_socket.async_wait(asio::ip::tcp::socket::wait_read, asio::use_awaitable);
}

/// TLS reads and writes the connection itself, which costs less than half of what buffers between them would.
void Stream::beginTls(ssl::context &context) {
    m_socket.native_non_blocking(true);
    m_tls.reset(SSL_new(context.native_handle()));
    if (!m_tls || SSL_set_fd(m_tls.get(), m_socket.native_handle()) != 1)
        throw boost::system::system_error(asio::error::no_memory);
}

template <typename Step>
asio::awaitable<error_code> Stream::untilDone(Step step) {
    for (;;) {
        // What is there already would be taken up at once, and nobody else would have a turn as long as more
        // comes.
        co_await asio::post(m_socket.get_executor(), asio::use_awaitable);
        // The number of a descriptor that is closed may be somebody else's by now.
        if (!m_socket.is_open())
            co_return asio::error::operation_aborted;
        ERR_clear_error();
        errno = 0;
        const int outcome = step(m_tls.get());
        const int systemError = errno;
        if (outcome > 0)
            co_return error_code();
        const int kind = SSL_get_error(m_tls.get(), outcome);
        if (kind != SSL_ERROR_WANT_READ && kind != SSL_ERROR_WANT_WRITE)
            co_return causeOf(kind, systemError);
        error_code failure;
        co_await m_socket.async_wait(kind == SSL_ERROR_WANT_READ ? asio::ip::tcp::socket::wait_read
                                                                 : asio::ip::tcp::socket::wait_write,
                                     asio::redirect_error(asio::use_awaitable, failure));
        if (failure)
            co_return failure;
    }
}

asio::awaitable<void> Stream::handshakeAsServer(ssl::context &context) {
    beginTls(context);
    throwUnlessDone(co_await untilDone(SSL_accept));
}

asio::awaitable<void> Stream::handshakeAsClient(ssl::context &context, const std::string &host) {
    beginTls(context);
    SSL_set_verify(m_tls.get(), SSL_VERIFY_PEER, nullptr);
    if (SSL_set1_host(m_tls.get(), host.c_str()) != 1)
        throw boost::system::system_error(asio::error::invalid_argument);
    SSL_set_tlsext_host_name(m_tls.get(), host.c_str());
    SSL_set_alpn_protos(m_tls.get(), unsignedBytes(protocols), static_cast<unsigned>(protocols.size()));
    throwUnlessDone(co_await untilDone(SSL_connect));
}

asio::awaitable<std::size_t> Stream::readSome(std::span<char> room) {
    error_code failure;
    std::size_t count = 0;
    if (m_tls)
        failure =
            co_await untilDone([&](SSL *tls) { return SSL_read_ex(tls, room.data(), room.size(), &count); });
    else
        count = co_await m_socket.async_read_some(asio::buffer(room.data(), room.size()),
                                                  asio::redirect_error(asio::use_awaitable, failure));
    if (failure && !isEnd(failure))
        throw boost::system::system_error(failure);
    co_return failure ? 0 : count;
}

asio::awaitable<void> Stream::write(std::string_view bytes) {
    std::size_t count = 0;
    if (m_tls)
        throwUnlessDone(co_await untilDone(
            [&](SSL *tls) { return SSL_write_ex(tls, bytes.data(), bytes.size(), &count); }));
    else
        co_await asio::async_write(m_socket, asio::buffer(bytes.data(), bytes.size()), asio::use_awaitable);
}

void Stream::expireAt(steady_clock::time_point deadline) {
    m_deadline = deadline;
    // An alarm that comes too early sets itself again, which is rarer than deadlines are put off.
    const bool willRing = m_alarm.expiry() > steady_clock::now() && m_alarm.expiry() <= deadline;
    if (!willRing)
        wake();
}

void Stream::wake() {
    m_alarm.expires_at(m_deadline);
    m_alarm.async_wait([weak = weak_from_this()](const error_code &failure) {
        const auto self = weak.lock();
        if (failure || !self)
            return;
        if (steady_clock::now() < self->m_deadline)
            return self->wake();
        self->m_hasExpired = true;
        self->close();
    });
}

asio::awaitable<void> Stream::leave() {
    expireAt(steady_clock::now() + farewell);
    error_code failure;
    if (m_tls)
        co_await untilDone([](SSL *tls) { return SSL_shutdown(tls) < 0 ? -1 : 1; });
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, failure);
    std::array<char, 4096> room{};
    for (std::size_t count = 1, sum = 0; count > 0 && sum < farewellBytes && !failure; sum += count) {
        count = co_await m_socket.async_read_some(asio::buffer(room),
                                                  asio::redirect_error(asio::use_awaitable, failure));
    }
    close();
}

void Stream::close() {
    error_code ignored;
    m_socket.close(ignored);
}

bool Stream::isFresh() {
    if (!m_socket.is_open())
        return false;
    pollfd descriptor{.fd = m_socket.native_handle(), .events = POLLIN | POLLRDHUP, .revents = 0};
    return poll(&descriptor, 1, 0) == 0;
}

bool Stream::isLeft() {
    pollfd descriptor{.fd = m_socket.native_handle(), .events = POLLRDHUP, .revents = 0};
    return poll(&descriptor, 1, 0) > 0;
}

asio::ip::tcp::acceptor listeningAt(asio::io_context &context, const Address &address) {
    using asio::ip::tcp;
    try {
        tcp::resolver resolver(context);
        const auto found =
            resolver.resolve(address.host, std::to_string(address.port), tcp::resolver::passive);
        // Whoever listened there a moment ago may have left connections that end.
        return {context, found.begin()->endpoint(), true};
    } catch (const boost::system::system_error &error) {
        throw std::system_error(error.code(), "cannot listen on " + address.text());
    }
}

std::shared_ptr<ssl::context> serverContext(const std::string &certificateFile,
                                            const std::string &privateKeyFile) {
    auto context = newContext(ssl::context::tls_server);
    error_code failure;
    context->use_certificate_chain_file(certificateFile, failure);
    if (failure)
        throw std::runtime_error(certificateFile + " is not a chain of certificates in PEM");
    context->use_private_key_file(privateKeyFile, ssl::context::pem, failure);
    if (failure)
        throw std::runtime_error(privateKeyFile + " is not the private key, in PEM, of that certificate");
    SSL_CTX_set_alpn_select_cb(context->native_handle(), chooseProtocol, nullptr);
    return context;
}

std::shared_ptr<ssl::context> clientContext(const std::string &authoritiesFile) {
    auto context = newContext(ssl::context::tls_client);
    error_code failure;
    if (authoritiesFile.empty())
        context->set_default_verify_paths(failure);
    else
        context->load_verify_file(authoritiesFile, failure);
    if (failure)
        throw std::runtime_error(authoritiesFile + " holds no certificates in PEM");
    return context;
}

} // namespace quillora::backend
