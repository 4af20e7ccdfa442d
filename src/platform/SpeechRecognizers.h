#pragma once

#include "platform/AudioBuffer.h"
#include "platform/LocalizedError.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

struct RecognitionResult {
    QString text; ///< the best transcription of all that was said so far
    bool isFinal = false;

    bool operator==(const RecognitionResult &) const = default;
};

/// Called on an arbitrary thread with a result, an error or both.
using RecognitionHandler =
    std::function<void(const std::optional<RecognitionResult> &, const std::optional<LocalizedError> &)>;

/// One recognition: sound goes in, and texts, interim ones and a final one, or an error reach its handler.
/// Dropping it ends the audio; the final text still comes.
class Recognition {
public:
    virtual ~Recognition() = default;

    /// Any thread; never blocks. Sound that comes before the recognizer is ready is kept for it.
    virtual void append(AudioBuffer buffer) = 0;

    /// No more sound will come, but for what a capture that has ended still hands over.
    virtual void endAudio() = 0;

    /// The work ends as soon as it can; the handler may still be called with an error.
    virtual void cancel() = 0;
};

/// A recognizer of one spoken locale. It may be dropped while its recognitions go on.
class SpeechRecognizer {
public:
    virtual ~SpeechRecognizer() = default;

    virtual bool isAvailable() const = 0;
    virtual std::shared_ptr<Recognition> recognize(RecognitionHandler handler) = 0;
};

/// What recognizes speech on this computer. Main thread only.
class SpeechRecognizers {
public:
    virtual ~SpeechRecognizers() = default;

    /// Locale identifiers such as "en-US", in no particular order.
    virtual QStringList supportedLocales() const = 0;

    /// The next recognition is likely to be of this locale: what it takes is made ready in the background,
    /// and what was ready for another may go.
    virtual void prepare(const QString &localeIdentifier) = 0;

    /// None if the locale is not supported. Never waits.
    virtual std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) = 0;
};

} // namespace quillora::platform
