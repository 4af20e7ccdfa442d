#pragma once

#include "platform/AudioEngine.h"
#include "platform/linux/sound/PulseInputNode.h"

#include <memory>
#include <utility>

namespace quillora::platform {

/// Records through the PulseAudio protocol, which PipeWire serves too. A stream exists only while it records.
class PulseAudioEngine : public AudioEngine {
public:
    explicit PulseAudioEngine(std::shared_ptr<PulseConnection> connection)
        : m_inputNode(std::move(connection)) {}

    AudioInputNode &inputNode() override { return m_inputNode; }

    /// Nothing to do: the connection is kept ready.
    void prepare() override {}

    void start() override { m_inputNode.beginCapture(); }
    void stop() override { m_inputNode.endCapture(); }
    bool isRunning() const override { return m_inputNode.isCapturing(); }

private:
    PulseInputNode m_inputNode;
};

} // namespace quillora::platform
