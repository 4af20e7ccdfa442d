#pragma once

#include "fakes/CallLog.h"
#include "platform/LocalizedError.h"
#include "platform/Microphone.h"

#include <optional>
#include <utility>
#include <vector>

namespace quillora::test {

/// A microphone that a test speaks into.
class FakeMicrophone : public platform::Microphone {
public:
    explicit FakeMicrophone(CallLog &log) : m_log(log) {}

    platform::AudioFormat format() const override { return inputFormat; }
    std::unique_ptr<platform::Capture> capture(quint32 bufferFrames, SoundHandler onSound) override {
        m_log.add(u"microphone.capture frames=%1"_qs.arg(bufferFrames));
        if (startError)
            throw LocalizedError(*startError);
        return std::make_unique<RunningCapture>(*this, std::move(onSound));
    }

    /// The latest capture hears it; dropped where there is none.
    void speak(platform::AudioBuffer buffer) {
        if (!m_captures.empty())
            m_captures.back()->onSound(std::move(buffer));
    }
    bool isCapturing() const { return !m_captures.empty(); }

    platform::AudioFormat inputFormat{48000, 1};
    std::optional<QString> startError;

private:
    struct RunningCapture : platform::Capture {
        RunningCapture(FakeMicrophone &owner, SoundHandler handler)
            : microphone(owner), onSound(std::move(handler)) {
            microphone.m_captures.push_back(this);
        }
        ~RunningCapture() override {
            microphone.m_log.add(u"microphone.stop"_qs);
            std::erase(microphone.m_captures, this);
        }

        FakeMicrophone &microphone;
        const SoundHandler onSound;
    };

    CallLog &m_log;
    std::vector<RunningCapture *> m_captures;
};

} // namespace quillora::test
