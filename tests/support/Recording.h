#pragma once

#include "platform/AudioEngine.h"

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
};

} // namespace quillora::test
