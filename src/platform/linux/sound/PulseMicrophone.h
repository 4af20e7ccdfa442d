#pragma once

#include "platform/Microphone.h"
#include "platform/linux/sound/PulseConnection.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// Records the default source through the PulseAudio protocol, which PipeWire serves too. The format is that
/// of the last PulseConnection::refresh. A stream exists only while it records.
class PulseMicrophone : public Microphone {
public:
    explicit PulseMicrophone(std::shared_ptr<PulseConnection> connection)
        : m_connection(std::move(connection)) {}

    AudioFormat format() const override { return m_connection->inputFormat(); }
    std::unique_ptr<Capture> capture(quint32 bufferFrames, SoundHandler onSound) override;

private:
    const std::shared_ptr<PulseConnection> m_connection;
};

} // namespace quillora::platform
