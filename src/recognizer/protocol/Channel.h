#pragma once

#include "recognizer/protocol/Messages.h"

#include <optional>
#include <utility>

namespace quillora::recognizer {

/// The descriptor under which the program gives its recognizer the socket.
constexpr int socketDescriptor = 3;

/// One end of the socket between the program and its recognizer. One thread at a time.
class Channel {
public:
    /// Takes over the descriptor; none yet where it is -1.
    explicit Channel(int descriptor = -1) : m_descriptor(descriptor) {}
    ~Channel();
    Channel(Channel &&other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Channel &operator=(Channel &&other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    /// Two ends, neither of which is inherited by a program that is started. Throws std::system_error.
    static std::pair<Channel, Channel> pair();

    int descriptor() const { return m_descriptor; }

    /// There may be messages of it yet.
    bool isOtherEndGone() const;

    /// Waits until there is room.
    void send(const Bytes &message);

    /// False where there is no room now.
    bool trySend(const Bytes &message);

    /// Waits for a message; none if the other end is gone. Throws ProtocolError.
    std::optional<Bytes> receive();

    /// What has come already; none if that is nothing. Throws ProtocolError where the other end is gone.
    std::optional<Bytes> tryReceive();

private:
    bool send(const Bytes &message, int flags);
    std::optional<Bytes> receive(int flags);

    int m_descriptor;
    Bytes m_received; ///< has room for any message; of one that is not read yet nobody knows how long it is
};

} // namespace quillora::recognizer
