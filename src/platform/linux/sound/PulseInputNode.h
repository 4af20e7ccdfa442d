#pragma once

#include "platform/AudioEngine.h"
#include "platform/linux/sound/PulseConnection.h"

#include <memory>

namespace quillora::platform {

/// The sound server's default source. It has one bus, 0; the format is that of the last
/// PulseConnection::refresh.
class PulseInputNode : public AudioInputNode {
public:
    explicit PulseInputNode(std::shared_ptr<PulseConnection> connection);
    ~PulseInputNode() override;

    AudioFormat outputFormat(quint32 bus) const override;

    /// While sound is being recorded the buffers keep the format that the recording began with.
    void installTap(quint32 bus, quint32 bufferSize, const AudioFormat &format, Tap tap) override;
    void removeTap(quint32 bus) override;

    /// As AudioEngine::start and AudioEngine::stop say.
    void beginCapture();
    void endCapture();
    bool isCapturing() const { return m_capture != nullptr; }

private:
    const std::shared_ptr<PulseConnection> m_connection;
    std::shared_ptr<PulseCapture> m_capture;
    Tap m_tap;
    quint32 m_bufferFrames;
    AudioFormat m_tapFormat; ///< no channels where there is no tap
};

} // namespace quillora::platform
