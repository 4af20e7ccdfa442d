#pragma once

#include "platform/Continuation.h"
#include "platform/Microphone.h"
#include "platform/SpeechRecognizers.h"

#include <QCoroTask>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillora {

/// Streams the default microphone into the platform's speech recognizer, for one dictation at a time. Asks
/// for the permissions itself. Main thread only.
class SpeechRecognizerService : public QObject {
    Q_OBJECT

public:
    /// Called on the main thread with every new transcript, the final one too.
    using PartialHandler = std::function<void(const QString &)>;

    explicit SpeechRecognizerService(QObject *parent = nullptr);
    ~SpeechRecognizerService() override;

    /// Asks for permission, then begins capture and recognition; returns once sound is being recorded. Throws
    /// a SpeechRecognizerServiceError, or the microphone's own error.
    QCoro::Task<> start(QString localeIdentifier, PartialHandler onPartial);

    /// Ends capture and returns the final transcript, or after 1.5 s the last one known; "" if there is none.
    QCoro::Task<QString> stop();

Q_SIGNALS:
    /// The recording that runs has ended by itself, for a reason that the user is told in this sentence.
    /// Nothing else has changed: a stop is due, and returns the final transcript as ever.
    void captureDied(const QString &reason);

private:
    QCoro::Task<> requestPermissions();
    void handleResult(const std::optional<platform::RecognitionResult> &result,
                      const std::optional<LocalizedError> &error, const PartialHandler &onPartial);
    void finishRecognition(const QString &text, bool cancelTask);
    void cleanup(bool cancelTask);

    std::unique_ptr<platform::Capture> m_capture; ///< while sound is being recorded
    std::shared_ptr<platform::Recognition> m_recognition;
    std::optional<platform::Continuation<QString>> m_finalContinuation; ///< set while a stop waits
    /// Stops that were still waiting when another one began: the final text is the other's, so that it is not
    /// inserted twice, and these wait for as long as the service lives.
    std::vector<platform::Continuation<QString>> m_overtakenContinuations;
    std::shared_ptr<platform::WorkItem> m_fallbackWorkItem; ///< the waiting stop's time-out
    QString m_lastTranscript;
    bool m_isRunning = false;
};

} // namespace quillora
