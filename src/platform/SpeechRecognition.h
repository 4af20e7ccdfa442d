#pragma once

#include "platform/AudioEngine.h"
#include "platform/LocalizedError.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

enum class SpeechAuthorizationStatus : qint32 {
    notDetermined = 0,
    denied = 1,
    restricted = 2,
    authorized = 3
};

/// What kind of speech to expect.
enum class RecognitionTaskHint : qint32 { unspecified = 0, dictation = 1 };

struct RecognitionResult {
    QString formattedString; ///< the best transcription of all that was said so far
    bool isFinal = false;

    bool operator==(const RecognitionResult &) const = default;
};

/// The stream of sound that one recognition listens to.
class AudioBufferRecognitionRequest {
public:
    virtual ~AudioBufferRecognitionRequest() = default;

    /// Set before the recognition begins. Main thread only.
    bool shouldReportPartialResults = false;
    RecognitionTaskHint taskHint = RecognitionTaskHint::unspecified;

    /// Any thread; never blocks. Sound that comes before the recognizer is ready is kept for it.
    virtual void append(const AudioBuffer &buffer) = 0;

    /// No more sound will come, but for what AudioEngine::stop still hands over.
    virtual void endAudio() = 0;
};

/// One recognition under way; dropping it does not end it.
class RecognitionTask {
public:
    virtual ~RecognitionTask() = default;

    /// The work ends as soon as it can; the handler may still be called with an error.
    virtual void cancel() = 0;
};

/// Called on an arbitrary thread with a result, an error or both.
using RecognitionResultHandler =
    std::function<void(const std::optional<RecognitionResult> &, const std::optional<LocalizedError> &)>;

/// A recognizer of one spoken locale.
class SpeechRecognizer {
public:
    virtual ~SpeechRecognizer() = default;

    virtual bool isAvailable() const = 0;
    virtual std::unique_ptr<RecognitionTask>
    recognitionTask(const std::shared_ptr<AudioBufferRecognitionRequest> &request,
                    RecognitionResultHandler handler) = 0;
};

/// Speech recognition and the permissions it needs. Main thread only; replies come on it.
class SpeechRecognition {
public:
    virtual ~SpeechRecognition() = default;

    virtual void requestAuthorization(std::function<void(SpeechAuthorizationStatus)> reply) = 0;
    virtual void requestMicrophoneAccess(std::function<void(bool granted)> reply) = 0;

    /// Locale identifiers such as "en-US", in no particular order.
    virtual QStringList supportedLocales() const = 0;

    /// None if the locale is not supported.
    virtual std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) = 0;
    virtual std::shared_ptr<AudioBufferRecognitionRequest> makeBufferRequest() = 0;
    virtual std::unique_ptr<AudioEngine> makeAudioEngine() = 0;
};

} // namespace quillora::platform
