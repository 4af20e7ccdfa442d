#pragma once

#include "backend/Configuration.h"
#include "backend/Service.h"
#include "backend/Stream.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <list>
#include <memory>
#include <optional>
#include <string>

namespace quillora::backend {

/// Carries requests to the service: HTTP/1.1, with TLS if there is a certificate, over connections whose
/// number, time and memory are bounded. SIGTERM and SIGINT end it once what runs is answered, SIGHUP reads
/// the certificate and the tokens again. One thread.
class Server {
public:
    /// Listens from here on. Throws std::runtime_error in words for people.
    Server(boost::asio::io_context &context, const Configuration &configuration);
    ~Server();

    /// The endpoint that people enter in the panel.
    std::string url() const;

    /// Returns after the end; true if everybody had an answer.
    bool run();

private:
    struct Session;
    struct Parser;
    using Sessions = std::list<std::shared_ptr<Session>>;

    boost::asio::awaitable<void> accept();
    boost::asio::awaitable<void> serve(std::shared_ptr<Session> session);
    boost::asio::awaitable<bool> serveNext(Session &session);
    boost::asio::awaitable<boost::system::error_code> receive(Session &session, Parser &parser,
                                                              Request &request, std::optional<Reply> &answer);
    boost::asio::awaitable<boost::system::error_code> advance(Session &session, Parser &parser);
    boost::asio::awaitable<void> listenToSignals();
    boost::asio::awaitable<void> keepFresh();
    boost::asio::awaitable<void> watchForLeavers();
    void welcome(boost::asio::ip::tcp::socket socket);
    void makeRoom();
    void begin(Session &session);
    void moveToEnd(Session &session);
    void keep(Session &session, std::size_t count);
    void settle(Session &session);
    void loadCertificate();
    void closeDoor();
    void beginToStop();
    void leave(const std::shared_ptr<Session> &session);

    boost::asio::io_context &m_context;
    Configuration m_configuration;
    Service m_service;
    std::shared_ptr<boost::asio::ssl::context> m_tls;
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::signal_set m_signals;
    boost::asio::steady_timer m_clock;
    Sessions m_sessions; ///< whose last answer, or the beginning of his request, is longest ago comes first
    std::size_t m_arriving = 0; ///< bytes of requests and handshakes that are not whole yet
    bool m_isStopping = false;
};

} // namespace quillora::backend
