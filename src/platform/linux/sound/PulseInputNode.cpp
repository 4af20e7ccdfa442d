#include "platform/linux/sound/PulseInputNode.h"

#include "platform/LocalizedError.h"
#include "platform/linux/sound/PulseCapture.h"

#include <utility>

namespace quillora::platform {

namespace {

constexpr quint32 onlyBus = 0;
constexpr quint32 usualBufferFrames = 1024;

} // namespace

PulseInputNode::PulseInputNode(std::shared_ptr<PulseConnection> connection)
    : m_connection(std::move(connection)), m_bufferFrames(usualBufferFrames) {}

PulseInputNode::~PulseInputNode() { endCapture(); }

AudioFormat PulseInputNode::outputFormat(quint32 bus) const {
    return bus == onlyBus ? m_connection->inputFormat() : AudioFormat{};
}

void PulseInputNode::installTap(quint32 bus, quint32 bufferSize, const AudioFormat &format, Tap tap) {
    if (bus != onlyBus)
        return;
    m_tap = std::move(tap);
    m_bufferFrames = bufferSize;
    m_tapFormat = format;
    if (m_capture)
        m_capture->setTap(m_tap);
}

void PulseInputNode::removeTap(quint32 bus) {
    if (bus != onlyBus)
        return;
    m_tap = nullptr;
    m_tapFormat = {};
    if (m_capture)
        m_capture->setTap(nullptr);
}

void PulseInputNode::beginCapture() {
    if (m_capture)
        return;
    const auto format = m_tapFormat.channelCount ? m_tapFormat : outputFormat(onlyBus);
    if (format.channelCount == 0)
        throw LocalizedError(QStringLiteral("There is no microphone to record from."));
    auto capture = std::make_shared<PulseCapture>(*m_connection, format, m_bufferFrames, m_tap);
    capture->start();
    m_capture = std::move(capture);
}

void PulseInputNode::endCapture() {
    if (auto capture = std::exchange(m_capture, nullptr))
        capture->stop();
}

} // namespace quillora::platform
