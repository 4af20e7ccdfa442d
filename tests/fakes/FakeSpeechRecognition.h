#pragma once

#include "fakes/CallLog.h"
#include "platform/MainQueue.h"
#include "platform/SpeechRecognition.h"

#include <deque>
#include <map>
#include <utility>

namespace quillora::test {

/// A microphone that a test speaks into.
class FakeAudioEngine : public platform::AudioEngine, public platform::AudioInputNode {
public:
    explicit FakeAudioEngine(CallLog &log) : m_log(log) {}

    platform::AudioInputNode &inputNode() override { return *this; }
    void prepare() override { m_log.add(u"audio.prepare"_qs); }
    void start() override {
        m_log.add(u"audio.start"_qs);
        if (startError)
            throw LocalizedError(*startError);
        m_isRunning = true;
    }
    void stop() override {
        m_log.add(u"audio.stop"_qs);
        m_isRunning = false;
    }
    bool isRunning() const override { return m_isRunning; }

    platform::AudioFormat outputFormat(quint32) const override { return format; }
    void installTap(quint32 bus, quint32 bufferSize, const platform::AudioFormat &tapFormat,
                    Tap tap) override {
        m_log.add(u"audio.installTap bus=%1 frames=%2 rate=%3 channels=%4"_qs.arg(bus)
                      .arg(bufferSize)
                      .arg(tapFormat.sampleRate)
                      .arg(tapFormat.channelCount));
        m_tap = std::move(tap);
    }
    void removeTap(quint32 bus) override {
        m_log.add(u"audio.removeTap bus=%1"_qs.arg(bus));
        m_tap = nullptr;
    }

    /// Sound comes in; dropped where nothing listens.
    void speak(const platform::AudioBuffer &buffer) {
        if (m_isRunning && m_tap)
            m_tap(buffer);
    }
    bool hasTap() const { return bool(m_tap); }

    platform::AudioFormat format{48000, 1};
    std::optional<QString> startError;

private:
    CallLog &m_log;
    Tap m_tap;
    bool m_isRunning = false;
};

class FakeRecognitionRequest : public platform::AudioBufferRecognitionRequest {
public:
    explicit FakeRecognitionRequest(CallLog &log) : m_log(log) {}
    void append(const platform::AudioBuffer &buffer) override { buffers.push_back(buffer); }
    void endAudio() override {
        m_log.add(u"request.endAudio"_qs);
        hasEnded = true;
    }

    std::vector<platform::AudioBuffer> buffers;
    bool hasEnded = false;

private:
    CallLog &m_log;
};

/// One recognition, whose results the test gives.
struct FakeRecognition {
    platform::RecognitionResultHandler handler;
    std::shared_ptr<FakeRecognitionRequest> request;
    QString localeIdentifier;
    bool isCancelled = false;
};

class FakeRecognitionTask : public platform::RecognitionTask {
public:
    FakeRecognitionTask(CallLog &log, std::shared_ptr<FakeRecognition> recognition)
        : m_log(log), m_recognition(std::move(recognition)) {}
    void cancel() override {
        m_log.add(u"task.cancel"_qs);
        m_recognition->isCancelled = true;
    }

private:
    CallLog &m_log;
    std::shared_ptr<FakeRecognition> m_recognition;
};

class FakeSpeechRecognition : public platform::SpeechRecognition {
public:
    /// What a permission question gets: an answer in the next turn of the main queue, or one when the test
    /// gives it.
    enum class Replies { atOnce, byHand };

    FakeSpeechRecognition(CallLog &log, platform::MainQueue &mainQueue)
        : m_log(log), m_mainQueue(mainQueue) {}

    void requestAuthorization(std::function<void(platform::SpeechAuthorizationStatus)> reply) override {
        m_log.add(u"speech.requestAuthorization"_qs);
        if (replies == Replies::byHand)
            authorizationReplies.push_back(std::move(reply));
        else
            m_mainQueue.async([reply = std::move(reply), status = authorizationStatus] { reply(status); });
    }
    void requestMicrophoneAccess(std::function<void(bool)> reply) override {
        m_log.add(u"speech.requestMicrophoneAccess"_qs);
        if (replies == Replies::byHand)
            microphoneReplies.push_back(std::move(reply));
        else
            m_mainQueue.async([reply = std::move(reply), granted = isMicrophoneGranted] { reply(granted); });
    }
    QStringList supportedLocales() const override { return locales; }

    std::unique_ptr<platform::SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override {
        m_log.add(u"speech.makeRecognizer "_qs + localeIdentifier);
        if (makesNoRecognizer || !locales.contains(localeIdentifier))
            return nullptr;
        return std::make_unique<Recognizer>(*this, localeIdentifier);
    }
    std::shared_ptr<platform::AudioBufferRecognitionRequest> makeBufferRequest() override {
        m_log.add(u"speech.makeBufferRequest"_qs);
        return std::make_shared<FakeRecognitionRequest>(m_log);
    }
    std::unique_ptr<platform::AudioEngine> makeAudioEngine() override {
        auto engine = std::make_unique<FakeAudioEngine>(m_log);
        audioEngine = engine.get();
        return engine;
    }

    /// The latest recognition; there must be one.
    FakeRecognition &recognition() { return *recognitions.back(); }
    void deliver(const QString &text) { deliver(platform::RecognitionResult{text, false}); }
    void deliverFinal(const QString &text) { deliver(platform::RecognitionResult{text, true}); }
    void deliverError(const QString &description) { recognition().handler({}, LocalizedError(description)); }

    Replies replies = Replies::atOnce;
    platform::SpeechAuthorizationStatus authorizationStatus = platform::SpeechAuthorizationStatus::authorized;
    bool isMicrophoneGranted = true;
    bool isAvailable = true;
    bool makesNoRecognizer = false;
    QStringList locales{u"en-US"_qs};
    std::deque<std::function<void(platform::SpeechAuthorizationStatus)>> authorizationReplies;
    std::deque<std::function<void(bool)>> microphoneReplies;
    std::vector<std::shared_ptr<FakeRecognition>> recognitions;
    FakeAudioEngine *audioEngine = nullptr; ///< the one made last; owned by whoever asked for it

private:
    /// A cancelled recognition has no results any more.
    void deliver(const platform::RecognitionResult &result) {
        if (!recognition().isCancelled)
            recognition().handler(result, {});
    }

    class Recognizer : public platform::SpeechRecognizer {
    public:
        Recognizer(FakeSpeechRecognition &owner, QString locale)
            : m_owner(owner), m_locale(std::move(locale)) {}
        bool isAvailable() const override { return m_owner.isAvailable; }
        std::unique_ptr<platform::RecognitionTask>
        recognitionTask(const std::shared_ptr<platform::AudioBufferRecognitionRequest> &request,
                        platform::RecognitionResultHandler handler) override {
            m_owner.m_log.add(
                u"recognizer.task partial=%1 hint=%2"_qs.arg(request->shouldReportPartialResults)
                    .arg(static_cast<int>(request->taskHint)));
            auto recognition = std::make_shared<FakeRecognition>();
            recognition->handler = std::move(handler);
            recognition->request = std::static_pointer_cast<FakeRecognitionRequest>(request);
            recognition->localeIdentifier = m_locale;
            m_owner.recognitions.push_back(recognition);
            return std::make_unique<FakeRecognitionTask>(m_owner.m_log, recognition);
        }

    private:
        FakeSpeechRecognition &m_owner;
        QString m_locale;
    };

    CallLog &m_log;
    platform::MainQueue &m_mainQueue;
};

} // namespace quillora::test
