#include "speech/SpeechRecognizerService.h"

#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "speech/SpeechRecognizerServiceError.h"

#include <QPointer>

#include <utility>

namespace quillora {

using platform::Continuation;
using platform::Platform;
using namespace std::chrono_literals;

namespace {

constexpr quint32 microphoneBus = 0;
constexpr quint32 tapBufferFrames = 1024;
/// How long a stop waits for the final result.
constexpr auto finalResultTimeout = 1500ms;

platform::SpeechRecognition &speechRecognition() { return Platform::current().speechRecognition(); }
platform::MainQueue &mainQueue() { return Platform::current().mainQueue(); }

} // namespace

SpeechRecognizerService::SpeechRecognizerService(QObject *parent)
    : QObject(parent), m_audioEngine(speechRecognition().makeAudioEngine()) {}

SpeechRecognizerService::~SpeechRecognizerService() {
    if (m_isRunning)
        m_audioEngine->stop();
    finishRecognition(m_lastTranscript, true);
    cleanup(true);
}

QCoro::Task<> SpeechRecognizerService::requestPermissions() {
    const QPointer<SpeechRecognizerService> self(this);
    Continuation<platform::SpeechAuthorizationStatus> authorization(mainQueue());
    const auto authorizationStatus = authorization.wait();
    speechRecognition().requestAuthorization(
        [authorization = std::move(authorization)](auto status) { authorization.resume(status); });
    const auto status = co_await authorizationStatus;
    if (!self)
        throw platform::ContinuationDropped();
    if (status != platform::SpeechAuthorizationStatus::authorized)
        throw SpeechRecognizerServiceError::speechPermissionDenied();

    Continuation<bool> microphone(mainQueue());
    const auto isMicrophoneGranted = microphone.wait();
    speechRecognition().requestMicrophoneAccess(
        [microphone = std::move(microphone)](bool granted) { microphone.resume(granted); });
    if (!co_await isMicrophoneGranted)
        throw SpeechRecognizerServiceError::microphonePermissionDenied();
}

QCoro::Task<> SpeechRecognizerService::start(QString localeIdentifier, PartialHandler onPartial) {
    const QPointer<SpeechRecognizerService> self(this);
    co_await requestPermissions();
    if (!self)
        throw platform::ContinuationDropped();

    cleanup(true);

    const auto recognizer = speechRecognition().makeRecognizer(localeIdentifier);
    if (!recognizer)
        throw SpeechRecognizerServiceError::unsupportedLocale(localeIdentifier);
    if (!recognizer->isAvailable())
        throw SpeechRecognizerServiceError::recognizerUnavailable(localeIdentifier);

    m_recognitionRequest = speechRecognition().makeBufferRequest();
    m_recognitionRequest->shouldReportPartialResults = true;
    m_recognitionRequest->taskHint = platform::RecognitionTaskHint::dictation;
    m_lastTranscript.clear();

    auto &inputNode = m_audioEngine->inputNode();
    const auto format = inputNode.outputFormat(microphoneBus);
    if (format.channelCount == 0)
        throw SpeechRecognizerServiceError::microphoneUnavailable();
    inputNode.removeTap(microphoneBus);
    inputNode.installTap(microphoneBus, tapBufferFrames, format,
                         [request = m_recognitionRequest](const auto &buffer) { request->append(buffer); });

    // The recognizer calls back on a thread of its own; all that is done there is to hand over. That thread
    // may outlast the choice of a current platform, though not the platform itself.
    m_recognitionTask = recognizer->recognitionTask(
        m_recognitionRequest, [self, onPartial = std::move(onPartial),
                               &mainQueue = mainQueue()](const auto &result, const auto &error) {
            mainQueue.async([self, onPartial, result, error] {
                if (self)
                    self->handleResult(result, error, onPartial);
            });
        });

    // A failure leaves the tap, the request and the task to the next start, which clears them away first.
    m_audioEngine->prepare();
    m_audioEngine->start();
    m_isRunning = true;
}

void SpeechRecognizerService::handleResult(const std::optional<platform::RecognitionResult> &result,
                                           const std::optional<LocalizedError> &error,
                                           const PartialHandler &onPartial) {
    if (result) {
        m_lastTranscript = result->formattedString;
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
        co_return m_lastTranscript;

    m_isRunning = false;
    m_audioEngine->stop();
    m_audioEngine->inputNode().removeTap(microphoneBus);

    Continuation<QString> continuation(mainQueue());
    const auto finalText = continuation.wait();
    if (m_finalContinuation)
        m_overtakenContinuations.push_back(std::move(*m_finalContinuation));
    m_finalContinuation = std::move(continuation);
    if (m_recognitionRequest)
        m_recognitionRequest->endAudio();
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
    if (m_audioEngine->isRunning())
        m_audioEngine->stop();
    m_audioEngine->inputNode().removeTap(microphoneBus);
    if (cancelTask && m_recognitionTask)
        m_recognitionTask->cancel();
    m_recognitionTask.reset();
    m_recognitionRequest.reset();
    if (m_fallbackWorkItem)
        std::exchange(m_fallbackWorkItem, nullptr)->cancel();
}

} // namespace quillora
