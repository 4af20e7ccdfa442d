#pragma once

#include "platform/AudioBuffer.h"
#include "platform/SpeechRecognizers.h"

#include <QString>

#include <vector>

namespace quillora::test {

/// A sentence that a person has read aloud, 16 kHz mono.
struct Recording {
    QString path;
    QString spoken;

    /// Those that come with PocketSphinx; throws std::runtime_error if they are not installed.
    static std::vector<Recording> all();

    /// The one of these words; there must be one.
    static Recording of(const QString &spoken);

    platform::AudioBuffer sound() const;

    /// The same without the silence before its first word and after its last.
    platform::AudioBuffer soundOfWords() const;
};

/// In buffers of 1024 frames, as a microphone hands them over.
void speak(platform::Recognition &recognition, const platform::AudioBuffer &sound);

/// Writes a sound file; throws std::runtime_error.
void writeWave(const QString &path, const platform::AudioBuffer &sound);

} // namespace quillora::test
