#pragma once

#include "fakes/CallLog.h"
#include "platform/LocalizedError.h"
#include "platform/MainQueue.h"
#include "platform/Microphone.h"

#include <optional>
#include <utility>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A microphone that a test speaks into.
class FakeMicrophone : public platform::Microphone {
public:
    FakeMicrophone(CallLog &log, platform::MainQueue &mainQueue) : m_log(log), m_mainQueue(mainQueue) {}

    platform::AudioFormat format() const override { return inputFormat; }
    std::unique_ptr<platform::Capture> capture(quint32 bufferFrames, SoundHandler onSound,
                                               DeathHandler onDeath) override {
        m_log.add(u"microphone.capture frames=%1"_s.arg(bufferFrames));
        if (startError)
            throw LocalizedError(*startError);
        return std::make_unique<RunningCapture>(*this, std::move(onSound), std::move(onDeath));
    }

    /// The latest capture hears it; dropped where there is none.
    void speak(platform::AudioBuffer buffer) {
        if (!m_captures.empty())
            m_captures.back()->onSound(std::move(buffer));
    }
    /// Every capture dies; those that have died already stay as they are.
    void die(const QString &reason) {
        for (auto *capture : m_captures) {
            if (std::exchange(capture->isDead, true))
                continue;
            capture->onSound = [](const auto &) {};
            m_mainQueue.async([told = std::weak_ptr(capture->onDeath), reason] {
                if (const auto handler = told.lock())
                    (*handler)(reason);
            });
        }
    }
    bool isCapturing() const { return !m_captures.empty(); }

    platform::AudioFormat inputFormat{48000, 1};
    std::optional<QString> startError;

private:
    struct RunningCapture : platform::Capture {
        RunningCapture(FakeMicrophone &owner, SoundHandler soundHandler, DeathHandler deathHandler)
            : microphone(owner), onSound(std::move(soundHandler)),
              onDeath(std::make_shared<DeathHandler>(std::move(deathHandler))) {
            microphone.m_captures.push_back(this);
        }
        ~RunningCapture() override {
            microphone.m_log.add(u"microphone.stop"_s);
            std::erase(microphone.m_captures, this);
        }

        FakeMicrophone &microphone;
        SoundHandler onSound;
        const std::shared_ptr<DeathHandler> onDeath;
        bool isDead = false;
    };

    CallLog &m_log;
    platform::MainQueue &m_mainQueue;
    std::vector<RunningCapture *> m_captures;
};

} // namespace quillora::test
