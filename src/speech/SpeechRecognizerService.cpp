#include "speech/SpeechRecognizerService.h"

#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "platform/SpeechPermissions.h"
#include "speech/SpeechRecognizerServiceError.h"

#include <QPointer>

#include <utility>

namespace quillora {

using platform::Continuation;
using platform::Platform;
using namespace std::chrono_literals;

namespace {

constexpr quint32 bufferFrames = 1024;
/// How long a stop waits for the final result.
constexpr auto finalResultTimeout = 1500ms;

platform::SpeechPermissions &permissions() { return Platform::current().speechPermissions(); }
platform::Microphone &microphone() { return Platform::current().microphone(); }
platform::MainQueue &mainQueue() { return Platform::current().mainQueue(); }

} // namespace

SpeechRecognizerService::SpeechRecognizerService(QObject *parent) : QObject(parent) {}

// NOLINTNEXTLINE(bugprone-exception-escape): a continuation that is kept has not been resumed.
SpeechRecognizerService::~SpeechRecognizerService() {
    finishRecognition(m_lastTranscript, true);
    cleanup(true);
}

QCoro::Task<> SpeechRecognizerService::requestPermissions() {
    const QPointer<SpeechRecognizerService> self(this);
    Continuation<bool> recognition(mainQueue());
    const auto isRecognitionGranted = recognition.wait();
    permissions().requestSpeechRecognition(
        [recognition = std::move(recognition)](bool isGranted) { recognition.resume(isGranted); });
    const bool mayRecognize = co_await isRecognitionGranted;
    if (!self)
        throw platform::ContinuationDropped();
    if (!mayRecognize)
        throw SpeechRecognizerServiceError::speechPermissionDenied();

    Continuation<bool> recording(mainQueue());
    const auto isRecordingGranted = recording.wait();
    permissions().requestMicrophone(
        [recording = std::move(recording)](bool isGranted) { recording.resume(isGranted); });
    if (!co_await isRecordingGranted)
        throw SpeechRecognizerServiceError::microphonePermissionDenied();
}

QCoro::Task<> SpeechRecognizerService::start(QString localeIdentifier, PartialHandler onPartial) {
    const QPointer<SpeechRecognizerService> self(this);
    co_await requestPermissions();
    if (!self)
        throw platform::ContinuationDropped();

    cleanup(true);

    const auto recognizer = Platform::current().speechRecognizers().makeRecognizer(localeIdentifier);
    if (!recognizer)
        throw SpeechRecognizerServiceError::unsupportedLocale(localeIdentifier);
    if (!recognizer->isAvailable())
        throw SpeechRecognizerServiceError::recognizerUnavailable(localeIdentifier);

    m_lastTranscript.clear();

    if (microphone().format().channelCount == 0)
        throw SpeechRecognizerServiceError::microphoneUnavailable();

    // The recognizer calls back on a thread of its own; all that is done there is to hand over. That thread
    // may outlast the choice of a current platform, though not the platform itself.
    m_recognition = recognizer->recognize([self, onPartial = std::move(onPartial),
                                           &mainQueue = mainQueue()](const auto &result, const auto &error) {
        mainQueue.async([self, onPartial, result, error] {
            if (self)
                self->handleResult(result, error, onPartial);
        });
    });

    // A failure leaves the recognition to the next start, which clears it away first.
    m_capture = microphone().capture(
        bufferFrames,
        [recognition = m_recognition](platform::AudioBuffer buffer) {
            recognition->append(std::move(buffer));
        },
        [this](const QString &reason) { Q_EMIT captureDied(reason); });
    m_isRunning = true;
}

void SpeechRecognizerService::handleResult(const std::optional<platform::RecognitionResult> &result,
                                           const std::optional<LocalizedError> &error,
                                           const PartialHandler &onPartial) {
    if (result) {
        m_lastTranscript = result->text;
        onPartial(m_lastTranscript);
        if (result->isFinal) {
            finishRecognition(m_lastTranscript, false);
            return;
        }
    }
    if (error)
        finishRecognition(m_lastTranscript, true);
}

QCoro::Task<QString> SpeechRecognizerService::stop() {
    if (!m_isRunning)
        co_return std::as_const(m_lastTranscript); // the coroutine would move from what it may change

    m_isRunning = false;
    m_capture.reset();

    Continuation<QString> continuation(mainQueue());
    const auto finalText = continuation.wait();
    if (m_finalContinuation)
        m_overtakenContinuations.push_back(std::move(*m_finalContinuation));
    m_finalContinuation = std::move(continuation);
    if (m_recognition)
        m_recognition->endAudio();
    m_fallbackWorkItem =
        mainQueue().asyncAfter(finalResultTimeout, [self = QPointer<SpeechRecognizerService>(this)] {
            mainQueue().async([self] {
                if (self)
                    self->finishRecognition(self->m_lastTranscript, true);
            });
        });
    try {
        co_return co_await finalText;
    } catch (const platform::ContinuationDropped &) {
        // The service ended while this stop was an overtaken one; there is nobody left to tell.
        co_return QString();
    }
}

void SpeechRecognizerService::finishRecognition(const QString &text, bool cancelTask) {
    if (!m_finalContinuation)
        return;
    if (m_fallbackWorkItem)
        std::exchange(m_fallbackWorkItem, nullptr)->cancel();
    std::exchange(m_finalContinuation, std::nullopt)->resume(text);
    cleanup(cancelTask);
}

void SpeechRecognizerService::cleanup(bool cancelTask) {
    m_capture.reset();
    if (cancelTask && m_recognition)
        m_recognition->cancel();
    m_recognition.reset();
    if (m_fallbackWorkItem)
        std::exchange(m_fallbackWorkItem, nullptr)->cancel();
}

} // namespace quillora
