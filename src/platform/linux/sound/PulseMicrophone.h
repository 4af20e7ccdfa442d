#pragma once

#include "platform/MainQueue.h"
#include "platform/Microphone.h"
#include "platform/linux/sound/PulseConnection.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// Records the default source through the PulseAudio protocol, which PipeWire serves too. The format is that
/// of the last PulseConnection::refresh. A stream exists only while it records.
class PulseMicrophone : public Microphone {
public:
    /// `mainQueue` outlives it and the connection.
    PulseMicrophone(std::shared_ptr<PulseConnection> connection, MainQueue &mainQueue)
        : m_connection(std::move(connection)), m_mainQueue(mainQueue) {}

    AudioFormat format() const override { return m_connection->inputFormat(); }
    std::unique_ptr<Capture> capture(quint32 bufferFrames, SoundHandler onSound,
                                     DeathHandler onDeath) override;

private:
    const std::shared_ptr<PulseConnection> m_connection;
    MainQueue &m_mainQueue;
};

} // namespace quillora::platform
