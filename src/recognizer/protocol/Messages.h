#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

/// What the program and its recognizer say to each other, over a socket that keeps messages apart
/// (SOCK_SEQPACKET). Each message is a kind (one byte) and the fields below in their order: numbers in the
/// machine's own byte order, texts and lists with a 32-bit count before them.
///
///     program                         recognizer
///     Open  ------------------------>             once; the model is loaded
///           <------------------------ Ready       or Refused, and it is of no use any more
///     Try   ------------------------>             between dictations; how fast the model is
///           <------------------------ Tried
///     Begin ------------------------>             a dictation; one at a time
///     Sound ------------------------>
///           <------------------------ Heard       for each Sound, when it has been decoded
///           <------------------------ Interim     whenever the text has changed
///           <------------------------ Settled     an utterance is over, and the next one has begun
///     End   ------------------------>
///           <------------------------ Finished    or, after a Cancel, nothing
///
/// Positions are samples since the beginning of the dictation. A recognizer that is started anew in the
/// middle of a dictation is told where its sound begins. The end of the socket ends the recognizer. Whoever
/// gets a message that is too long, malformed or out of its turn has nothing more to do with the other.
namespace quillora::recognizer {

constexpr std::uint32_t protocolVersion = 3;
constexpr std::size_t largestMessage = 65536;
/// Of all sound here, which is mono.
constexpr int sampleRate = 16000;
/// Of one Sound: a second.
constexpr std::size_t mostSamples = sampleRate;
constexpr std::size_t mostFiles = 16;
constexpr std::size_t mostParameters = 16;

/// The status with which a process ends that could not get memory.
constexpr int noMemoryStatus = 12;

class ProtocolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What an engine has to know of a model besides its files, as in "language", "de".
struct Parameter {
    std::string name;
    std::string value;
    bool operator==(const Parameter &) const = default;
};

/// Its kind and the place of the version stay as they are; of another version only that number is read.
struct Open {
    std::uint32_t version = protocolVersion;
    // NOLINTBEGIN(readability-redundant-member-init): so that they may be left out
    std::string engine = {};                ///< such as "pocketsphinx"
    std::vector<std::string> files = {};    ///< of the model, in the engine's order
    std::vector<Parameter> parameters = {}; ///< for the engine, which knows what they mean
    // NOLINTEND(readability-redundant-member-init)
    bool operator==(const Open &) const = default;
};
struct Begin {
    std::uint32_t dictation = 0;
    std::uint64_t position = 0;
    bool operator==(const Begin &) const = default;
};
struct Sound {
    std::uint32_t dictation = 0;
    std::vector<std::int16_t> samples;
    bool operator==(const Sound &) const = default;
};
struct End {
    std::uint32_t dictation = 0;
    bool operator==(const End &) const = default;
};
struct Cancel {
    std::uint32_t dictation = 0;
    bool operator==(const Cancel &) const = default;
};
struct Try {
    bool operator==(const Try &) const = default;
};

enum class Refusal : std::uint8_t {
    missing,      ///< a file of the model is not there
    damaged,      ///< the engine cannot read the model
    incompatible, ///< the engine is not known, or not for this model
    otherVersion, ///< of the protocol
};

/// What a process has been kept from since it was opened; bits.
enum Protection : std::uint32_t {
    systemCalls = 1, ///< no network, no new programs, no writing
    files = 2,       ///< nothing can be read but what the recognizer needs
};

struct Ready {
    std::uint32_t protections = 0;
    bool operator==(const Ready &) const = default;
};
/// Its kind and layout stay as they are in every version.
struct Refused {
    Refusal reason = Refusal::damaged;
    bool operator==(const Refused &) const = default;
};
struct Heard {
    std::uint32_t dictation = 0;
    bool operator==(const Heard &) const = default;
};
struct Interim {
    std::uint32_t dictation = 0;
    std::string text; ///< of the utterance under way
    bool operator==(const Interim &) const = default;
};
struct Settled {
    std::uint32_t dictation = 0;
    std::uint64_t position = 0; ///< from where on sound is needed
    std::string text;           ///< of the utterance that is over
    bool operator==(const Settled &) const = default;
};
struct Finished {
    std::uint32_t dictation = 0;
    std::string text; ///< of the last utterance
    bool operator==(const Finished &) const = default;
};

struct Tried {
    std::uint32_t milliseconds = 0; ///< that decoding two seconds of sound takes, on a machine that lets it
    bool operator==(const Tried &) const = default;
};

using Command = std::variant<Open, Begin, Sound, End, Cancel, Try>;
using Answer = std::variant<Ready, Refused, Heard, Interim, Settled, Finished, Tried>;
using Bytes = std::vector<std::byte>;

/// All of these throw ProtocolError where a message breaks a rule. A text with control characters breaks one:
/// it is going to be typed.
Bytes encode(const Command &command);
Bytes encode(const Answer &answer);
Command decodeCommand(std::span<const std::byte> bytes);
Answer decodeAnswer(std::span<const std::byte> bytes);

} // namespace quillora::recognizer
