#pragma once

#include "platform/LocalizedError.h"

#include <QString>

namespace quillora {

using namespace Qt::StringLiterals;

/// Why a dictation could not start.
class SpeechRecognizerServiceError : public LocalizedError {
public:
    enum class Kind {
        recognizerUnavailable,
        unsupportedLocale,
        speechPermissionDenied,
        microphonePermissionDenied,
        microphoneUnavailable,
    };

    static SpeechRecognizerServiceError recognizerUnavailable(const QString &localeIdentifier) {
        return {Kind::recognizerUnavailable,
                u"Speech recognizer is unavailable for "_s + localeIdentifier + u'.'};
    }
    static SpeechRecognizerServiceError unsupportedLocale(const QString &localeIdentifier) {
        return {Kind::unsupportedLocale, u"Speech recognizer does not support "_s + localeIdentifier + u'.'};
    }
    static SpeechRecognizerServiceError speechPermissionDenied() {
        return {Kind::speechPermissionDenied, u"Speech recognition permission was denied."_s};
    }
    static SpeechRecognizerServiceError microphonePermissionDenied() {
        return {Kind::microphonePermissionDenied, u"Microphone permission was denied."_s};
    }
    static SpeechRecognizerServiceError microphoneUnavailable() {
        return {Kind::microphoneUnavailable, u"No microphone input format is available."_s};
    }

    Kind kind() const { return m_kind; }

private:
    SpeechRecognizerServiceError(Kind kind, const QString &description)
        : LocalizedError(description), m_kind(kind) {}

    Kind m_kind;
};

} // namespace quillora
