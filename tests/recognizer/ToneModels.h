#pragma once

#include "recognizer/protocol/Messages.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::test {

/// The tiny models that understand tones (tones/make_models), as the speech library's engine loads them. They
/// lie in the build tree; nothing there may be changed.
namespace ToneModels {

/// Where the speech library lies: beside the recognizer.
std::string libraryFolder();

/// Named as in "streaming-zipformer-ctc", "streaming-nemo-transducer" or "offline-sense-voice".
recognizer::Open model(std::string_view name, std::string_view language = {});

/// One for whole segments that takes "q" for "k" until it hears a "u".
recognizer::Open revisingModel();

/// A streaming one with 42 million parameters, for measurements, and one for whole segments: there only where
/// `heavy_tone_models` was built.
recognizer::Open heavyModel();
recognizer::Open heavyOfflineModel();

/// The same with other letters: "chinese" or "thai".
recognizer::Open spelled(recognizer::Open model, std::string_view alphabet);

/// Of the network that tells tones from all other sound.
std::string detectorFile();

/// The same with a network that tells speech from pauses.
recognizer::Open withDetector(recognizer::Open model);

} // namespace ToneModels

/// A clock for which decoding takes no time, however busy the machine is.
inline std::chrono::steady_clock::time_point timeThatStandsStill() { return {}; }

/// Sound of text that these models understand.
struct ToneSpeech {
    int rate = recognizer::sampleRate;
    double amplitude = 0.3;
    double noise = 0;           ///< standard deviation
    double letterLength = 0.12; ///< seconds, as all lengths; as much silence follows each letter
    double lead = 0.4;          ///< silence before the text
    double tail = 0;            ///< silence after it

    /// Lower-case words; '|' is a pause of a second.
    std::vector<std::int16_t> say(std::string_view words) const;

    /// So many noises of 0.3 seconds, as loud as words, and 0.1 seconds of silence after each: never a pause
    /// for who listens for loudness alone, nor a noise of the room that could be learned.
    static std::vector<std::int16_t> knock(int times);
};

} // namespace quillora::test
