#pragma once

#include "backend/Configuration.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace boost::asio::ssl {
class context;
} // namespace boost::asio::ssl

struct ssl_st; // of OpenSSL

namespace quillora::backend {

/// A TCP connection, with TLS inside or without, whose every wait ends at a deadline: then it is closed, and
/// what waits fails with boost::system::system_error.
class Stream : public std::enable_shared_from_this<Stream> {
public:
    explicit Stream(boost::asio::ip::tcp::socket socket);
    ~Stream();
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

    /// To the first of them that can be reached.
    boost::asio::awaitable<void> connect(const Endpoints &endpoints);

    /// Until something has come, or the other end has left. Of TLS nothing exists before, which would cost
    /// more than all else of a connection.
    boost::asio::awaitable<void> firstBytes();

    /// From here on all is encrypted.
    boost::asio::awaitable<void> handshakeAsServer(boost::asio::ssl::context &context);

    /// The same, with a server that must be `host`.
    boost::asio::awaitable<void> handshakeAsClient(boost::asio::ssl::context &context,
                                                   const std::string &host);

    /// How many bytes have come; none at the end.
    boost::asio::awaitable<std::size_t> readSome(std::span<char> room);

    boost::asio::awaitable<void> write(std::string_view bytes);

    /// When it is closed, whatever goes on; until another deadline is set.
    void expireAt(std::chrono::steady_clock::time_point deadline);
    bool hasExpired() const { return m_hasExpired; }

    /// Says that nothing more will be sent, and reads what still comes until the other end has left, so that
    /// it gets what was sent before; for a short time and so many bytes only.
    boost::asio::awaitable<void> leave();

    void close();

    /// Whether it is open, with nothing to read and not left by the other end.
    bool isFresh();

    /// Whether the other end will send nothing more, whatever is still to be read.
    bool isLeft();

private:
    void wake();
    void beginTls(boost::asio::ssl::context &context);

    /// Does a step of TLS again and again, as the connection lets it, until that tells of success.
    template <typename Step>
    boost::asio::awaitable<boost::system::error_code> untilDone(Step step);

    boost::asio::ip::tcp::socket m_socket;
    std::unique_ptr<ssl_st, void (*)(ssl_st *)> m_tls;
    boost::asio::steady_timer m_alarm;
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    bool m_hasExpired = false;
};

/// A door at that address. Throws std::system_error in words for people.
boost::asio::ip::tcp::acceptor listeningAt(boost::asio::io_context &context, const Address &address);

/// What a server shows, or a client trusts; see the configuration. Throws std::runtime_error in words for
/// people.
std::shared_ptr<boost::asio::ssl::context> serverContext(const std::string &certificateFile,
                                                         const std::string &privateKeyFile);
std::shared_ptr<boost::asio::ssl::context> clientContext(const std::string &authoritiesFile);

} // namespace quillora::backend
