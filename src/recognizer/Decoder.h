#pragma once

#include "recognizer/protocol/Messages.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quillora::recognizer {

/// A recognition library with its model loaded. It may throw, or end the process, where it cannot go on: the
/// program starts another process then, which gets the sound once more.
class Decoder {
public:
    virtual ~Decoder() = default;

    virtual void beginUtterance() = 0;
    virtual void accept(std::span<const std::int16_t> samples) = 0;

    /// Whether somebody spoke in the last half second.
    virtual bool hearsSpeech() = 0;

    virtual void endUtterance() = 0;

    /// Whether the utterance should end now, pause or none, because decoding it would take too long.
    virtual bool isFull() { return false; }

    /// Ends the utterance where that splits no word, as far as can be told. Returns how many of its last
    /// samples, a second's at most, are not of it any more.
    virtual std::size_t endEarly() {
        endUtterance();
        return 0;
    }

    /// The best transcription of the utterance under way, or else of the last one; words between blanks.
    virtual std::string text() = 0;
};

/// Thrown where a model cannot be loaded.
struct LoadFailure {
    Refusal reason;
};

/// What makes decoders of one kind.
class Engine {
public:
    virtual ~Engine() = default;

    virtual std::string name() const = 0;

    /// What is read of it besides the model once it loads one: files that are not the system's.
    virtual std::vector<std::string> ownFiles() const { return {}; }

    /// Throws LoadFailure.
    virtual std::unique_ptr<Decoder> load(const Open &model) const = 0;
};

using Engines = std::vector<std::unique_ptr<Engine>>;

} // namespace quillora::recognizer
