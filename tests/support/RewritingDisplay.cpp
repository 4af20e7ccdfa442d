#include "support/RewritingDisplay.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace quillora::test {

namespace {

constexpr int firstPort = 6000; // of display number 0

} // namespace

RewritingDisplay::RewritingDisplay(const QByteArray &displayName, QByteArray from, QByteArray to)
    : m_serverPath("/tmp/.X11-unix/X" + displayName.mid(1)), m_from(std::move(from)), m_to(std::move(to)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isListening = m_from.size() == m_to.size() && ::pipe(m_stop) == 0 &&
                             ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), size) == 0 &&
                             ::listen(m_listener, 8) == 0 &&
                             ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    if (!isListening)
        throw std::runtime_error("there is no way to the display");
    m_name = "127.0.0.1:" + QByteArray::number(ntohs(address.sin_port) - firstPort);
    m_thread = std::thread([this] { serve(); });
}

RewritingDisplay::~RewritingDisplay() {
    ::close(m_stop[1]);
    m_thread.join();
    for (const auto &[socket, peer] : m_peers)
        ::close(socket);
    ::close(m_stop[0]);
    ::close(m_listener);
}

void RewritingDisplay::serve() {
    while (true) {
        std::vector<pollfd> watched{{m_stop[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const auto &[socket, peer] : m_peers)
            watched.push_back({socket, POLLIN, 0});
        ::poll(watched.data(), watched.size(), -1);
        if (watched[0].revents)
            return;
        if (watched[1].revents)
            acceptClient();
        for (size_t i = 2; i < watched.size(); ++i) {
            const int socket = watched[i].fd;
            if (!watched[i].revents || !m_peers.contains(socket) || passOn(socket))
                continue;
            const int peer = m_peers.at(socket);
            for (const int gone : {socket, peer}) {
                ::close(gone);
                m_peers.erase(gone);
            }
        }
    }
}

void RewritingDisplay::acceptClient() {
    const int client = ::accept(m_listener, nullptr, nullptr);
    const int server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(m_serverPath, address.sun_path);
    if (::connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        ::close(client);
        ::close(server);
        return;
    }
    m_peers[client] = server;
    m_peers[server] = client;
    m_isClient[client] = true;
    m_isClient[server] = false;
}

/// Whether both ends are still there.
bool RewritingDisplay::passOn(int socket) {
    std::array<char, 1 << 16> buffer{};
    const auto size = ::recv(socket, buffer.data(), buffer.size(), 0);
    if (size <= 0)
        return false;
    QByteArray bytes(buffer.data(), size);
    if (m_isClient.at(socket))
        bytes.replace(m_from, m_to);
    for (qsizetype sent = 0; sent < bytes.size();) {
        const auto count =
            ::send(m_peers.at(socket), bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += count;
    }
    return true;
}

} // namespace quillora::test
