#include "backend/Stream.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include <array>
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
    return context;
}

} // namespace

Stream::Stream(asio::ip::tcp::socket socket) : m_socket(std::move(socket)), m_alarm(m_socket.get_executor()) {
    error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

Stream::~Stream() = default;

asio::awaitable<void> Stream::connect(const Endpoints &endpoints) {
    co_await asio::async_connect(m_socket, endpoints, asio::use_awaitable);
    error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

asio::awaitable<void> Stream::handshakeAsServer(ssl::context &context) {
    m_tls = std::make_unique<ssl::stream<asio::ip::tcp::socket &>>(m_socket, context);
    co_await m_tls->async_handshake(ssl::stream_base::server, asio::use_awaitable);
}

asio::awaitable<void> Stream::handshakeAsClient(ssl::context &context, const std::string &host) {
    m_tls = std::make_unique<ssl::stream<asio::ip::tcp::socket &>>(m_socket, context);
    m_tls->set_verify_mode(ssl::verify_peer);
    m_tls->set_verify_callback(ssl::host_name_verification(host));
    SSL_set_tlsext_host_name(m_tls->native_handle(), host.c_str());
    SSL_set_alpn_protos(m_tls->native_handle(), unsignedBytes(protocols),
                        static_cast<unsigned>(protocols.size()));
    co_await m_tls->async_handshake(ssl::stream_base::client, asio::use_awaitable);
}

asio::awaitable<std::size_t> Stream::readSome(std::span<char> room) {
    error_code failure;
    const auto buffer = asio::buffer(room.data(), room.size());
    std::size_t count = 0;
    if (m_tls)
        count = co_await m_tls->async_read_some(buffer, asio::redirect_error(asio::use_awaitable, failure));
    else
        count = co_await m_socket.async_read_some(buffer, asio::redirect_error(asio::use_awaitable, failure));
    if (failure && !isEnd(failure))
        throw boost::system::system_error(failure);
    co_return failure ? 0 : count;
}

asio::awaitable<void> Stream::write(std::string_view bytes) {
    const auto buffer = asio::buffer(bytes.data(), bytes.size());
    if (m_tls)
        co_await asio::async_write(*m_tls, buffer, asio::use_awaitable);
    else
        co_await asio::async_write(m_socket, buffer, asio::use_awaitable);
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
        co_await m_tls->async_shutdown(asio::redirect_error(asio::use_awaitable, failure));
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
