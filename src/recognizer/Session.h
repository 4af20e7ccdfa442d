#pragma once

#include "recognizer/Decoder.h"
#include "recognizer/protocol/Messages.h"

#include <chrono>
#include <functional>
#include <optional>

namespace quillora::recognizer {

/// What the recognizer does with the program's messages: loads the model, then takes one dictation after the
/// other, cut into utterances at pauses.
///
/// Engines keep what an utterance has cost them, so that none may go on for ever: the longer one has become,
/// the shorter the pause that ends it. After a minute it ends without one, where that splits no word.
class Session {
public:
    using Send = std::function<void(const Answer &)>;

    /// `confine` is called before a model is loaded, with what may still be read, and tells the protections.
    using Confine = std::function<std::uint32_t(const std::vector<std::string> &readable)>;

    /// Does the work, and tells how long that takes.
    using Stopwatch = std::function<std::chrono::milliseconds(const std::function<void()> &work)>;

    /// Leaves out for how long a busy machine has kept the work waiting.
    static std::chrono::milliseconds ownTime(const std::function<void()> &work);

    Session(const Engines &engines, Send send, Confine confine, Stopwatch stopwatch = ownTime);

    /// Throws ProtocolError for what is out of its turn, and whatever the engine throws; the session is of no
    /// use after that.
    void handle(const Command &command);

private:
    struct Dictation {
        Dictation(std::uint32_t which, std::uint64_t begin)
            : number(which), position(begin), utteranceBegin(begin), lastSpeech(begin) {}

        std::uint32_t number;
        std::uint64_t position;           ///< of the next sample
        std::uint64_t utteranceBegin;     ///< position of its first sample
        std::uint64_t lastSpeech;         ///< position up to which somebody spoke
        std::string interim;              ///< the last text that was sent of the utterance
        std::vector<std::int16_t> recent; ///< the latest sound of the utterance
    };

    void take(const Open &open);
    void take(const Begin &begin);
    void take(const Sound &sound);
    void take(const End &end);
    void take(const Cancel &cancel);
    void take(const Try &attempt);

    Dictation &dictation(std::uint32_t number);
    void decode(Dictation &dictation, std::span<const std::int16_t> samples);
    std::size_t endAtPause();
    void settleAtPause(Dictation &dictation);

    const Engines &m_engines;
    const Send m_send;
    const Confine m_confine;
    const Stopwatch m_stopwatch;
    bool m_isOpened = false;
    std::unique_ptr<Decoder> m_decoder; ///< none if the model was refused
    std::optional<Dictation> m_dictation;
};

} // namespace quillora::recognizer
