#pragma once

#include "platform/linux/recognition/KeptSound.h"
#include "platform/linux/recognition/RecognitionJob.h"
#include "platform/linux/recognition/SpeechResampler.h"

#include <QString>

#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace quillora::platform {

/// One dictation on its way through the recognizer: the sound that may still be needed, how far it has been
/// sent, and the texts. A process that takes over begins where the text is settled.
class Dictation {
public:
    /// It lets go of `underWay` when it is over.
    Dictation(std::uint32_t number, std::shared_ptr<RecognitionJob> job, std::size_t soundLimit,
              std::shared_ptr<void> underWay = {})
        : m_number(number), m_underWay(std::move(underWay)), m_job(std::move(job)), m_sound(soundLimit) {}

    std::uint32_t number() const { return m_number; }

    /// Takes what has been captured since. False once nobody wants a text any more.
    bool takeSound();

    /// What is to be sent next, at most `count` samples; it counts as sent.
    std::span<const std::int16_t> nextSound(std::size_t count);
    bool isAllSent() const { return m_hasEnded && m_sent == m_sound.end(); }

    /// The recognizer has decoded what nextSound() gave it first of all that it has not decoded yet.
    void heard();

    /// What the recognizer says. Texts are of one utterance; one that cannot be throws ProtocolError.
    void interim(const std::string &text);
    void settled(const std::string &text, std::uint64_t position);
    void finished(const std::string &text);

    void failed(const QString &description);

    /// Another process takes over: the sound is sent again from this position on. What was shown of it stays
    /// until the new one has got as far, since a release returns what is shown.
    std::uint64_t rewind();

    bool hasBegun = false;  ///< in the process
    bool isEndSent = false; ///< to the process
    int deaths = 0;         ///< of processes, with this model

private:
    QString joined(const std::string &text) const;
    void report(const QString &text);

    const std::uint32_t m_number;
    const std::shared_ptr<void> m_underWay;
    const std::shared_ptr<RecognitionJob> m_job;
    KeptSound m_sound;
    std::optional<SpeechResampler> m_resampler;
    std::uint64_t m_sent = 0;
    std::deque<std::uint64_t> m_underWayUntil; ///< ends of what has been sent and not been decoded
    std::uint64_t m_catchesUpUntil = 0;        ///< what is shown may be of all sound before this
    bool m_isCatchingUp = false;
    bool m_hasEnded = false; ///< no more sound will come
    std::uint64_t m_settledEnd = 0;
    QString m_settled;  ///< the texts of the utterances that are over
    QString m_latest;   ///< the last text, shown or not
    QString m_reported; ///< the last text that was reported
};

} // namespace quillora::platform
