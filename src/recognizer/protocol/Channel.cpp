#include "recognizer/protocol/Channel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace quillora::recognizer {

Channel::~Channel() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

std::pair<Channel, Channel> Channel::pair() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category());
    return {Channel(ends[0]), Channel(ends[1])};
}

bool Channel::isOtherEndGone() const {
    pollfd end{m_descriptor, 0, 0};
    return ::poll(&end, 1, 0) > 0;
}

void Channel::send(const Bytes &message) { send(message, 0); }
bool Channel::trySend(const Bytes &message) { return send(message, MSG_DONTWAIT); }

bool Channel::send(const Bytes &message, int flags) {
    ssize_t sent = 0;
    do
        sent = ::send(m_descriptor, message.data(), message.size(), flags | MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    // An end that is gone shows where messages are received.
    return sent >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS);
}

/// None where nothing has come, or (empty) where the other end is gone.
std::optional<Bytes> Channel::receive(int flags) {
    m_received.resize(largestMessage);
    ssize_t size = 0;
    // An end that went without having read everything is told of before what it had said, and once.
    do
        size = ::recv(m_descriptor, m_received.data(), m_received.size(), flags | MSG_TRUNC);
    while (size < 0 && (errno == EINTR || errno == ECONNRESET));
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return std::nullopt;
    if (size > static_cast<ssize_t>(m_received.size()))
        throw ProtocolError("a message that is too long");
    return Bytes(m_received.begin(), m_received.begin() + std::max<ssize_t>(size, 0));
}

std::optional<Bytes> Channel::receive() {
    auto message = receive(0);
    return message && message->empty() ? std::nullopt : std::move(message);
}

std::optional<Bytes> Channel::tryReceive() {
    auto message = receive(MSG_DONTWAIT);
    if (message && message->empty())
        throw ProtocolError("the other end is gone");
    return message;
}

} // namespace quillora::recognizer
