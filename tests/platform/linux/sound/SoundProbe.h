#pragma once

#include "fakes/FakeMainQueue.h"
#include "platform/linux/sound/PulseConnection.h"
#include "platform/linux/sound/PulseMicrophone.h"
#include "support/ChildProcess.h"
#include "support/OwnTime.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quillora::test {

/// Makes recordings as a dictation does and remembers what was heard.
class SoundProbe {
public:
    explicit SoundProbe(const std::string &server)
        : connection(std::make_shared<platform::PulseConnection>(server)), microphone(connection, queue) {}

    /// Looks for the microphone; returns how many milliseconds that took.
    qint64 refresh() {
        const OwnTime timer;
        const auto isDone = std::make_shared<std::atomic<bool>>(false);
        connection->refresh([isDone] { *isDone = true; });
        ChildProcess::waitUntil([&] { return isDone->load(); });
        return timer.elapsed();
    }

    /// Looks until there is one; false if there never is. A server that is busy may answer one look too late,
    /// and PipeWire tells each program by itself of what was plugged in.
    bool findMicrophone() {
        return find([](const platform::AudioFormat &found) { return found.channelCount > 0; });
    }
    bool findMicrophone(const platform::AudioFormat &wanted) {
        return find([&](const platform::AudioFormat &found) { return found == wanted; });
    }

    platform::AudioFormat format() { return microphone.format(); }

    /// Throws what the microphone throws.
    void start(quint32 bufferFrames = 1024) {
        heard = std::make_shared<Heard>();
        capture.reset();
        capture = microphone.capture(
            bufferFrames,
            [heard = heard](platform::AudioBuffer buffer) {
                const std::lock_guard lock(heard->mutex);
                heard->buffers.push_back(std::move(buffer));
            },
            [this](const QString &reason) { deaths += reason; });
    }

    /// Finds the microphone and records until so many frames have come; throws if they never do.
    void record(qsizetype frameCount) {
        findMicrophone();
        start();
        if (!waitForFrames(frameCount))
            throw std::runtime_error("the sound never came");
    }

    /// As a dictation ends: the capture, then the audio.
    void stop() {
        capture.reset();
        connection->drain()->whenDrained([heard = heard] { heard->hasEnded = true; });
    }

    /// Returns how many milliseconds it took until the main thread was told; throws if it never is.
    qint64 waitForDeath() {
        const OwnTime timer;
        const auto isTold = [this] {
            queue.run();
            return !deaths.isEmpty();
        };
        if (!ChildProcess::waitUntil(isTold, 30000))
            throw std::runtime_error("nobody told of a death");
        return timer.elapsed();
    }

    bool waitForEnd() const {
        return ChildProcess::waitUntil([&] { return heard->hasEnded.load(); });
    }

    qsizetype frames() const {
        const std::lock_guard lock(heard->mutex);
        qsizetype count = 0;
        for (const auto &buffer : heard->buffers)
            count += buffer.frameCount();
        return count;
    }

    bool waitForFrames(qsizetype count) const {
        return ChildProcess::waitUntil([&] { return frames() >= count; });
    }

    /// Of each channel so far.
    std::vector<qint16> loudestSamples() {
        std::vector<qint16> loudest(format().channelCount);
        const std::lock_guard lock(heard->mutex);
        for (const auto &buffer : heard->buffers)
            for (size_t i = 0; i < buffer.samples.size(); ++i)
                loudest[i % loudest.size()] = std::max(loudest[i % loudest.size()], buffer.samples[i]);
        return loudest;
    }

    bool find(const std::function<bool(const platform::AudioFormat &)> &isWanted) {
        return ChildProcess::waitUntil([&] {
            refresh();
            return isWanted(format());
        });
    }

    struct Heard {
        std::mutex mutex;
        std::vector<platform::AudioBuffer> buffers;
        std::atomic<bool> hasEnded = false;
    };

    FakeMainQueue queue;
    QStringList deaths; ///< the reasons that were given
    std::shared_ptr<platform::PulseConnection> connection;
    platform::PulseMicrophone microphone;
    std::unique_ptr<platform::Capture> capture;
    std::shared_ptr<Heard> heard = std::make_shared<Heard>();
};

} // namespace quillora::test
