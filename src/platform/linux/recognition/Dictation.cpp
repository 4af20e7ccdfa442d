#include "platform/linux/recognition/Dictation.h"

#include "platform/linux/recognition/JoinedTexts.h"
#include "recognizer/protocol/Messages.h"

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

/// Hours of it.
constexpr qsizetype longestText = qsizetype{1} << 20;

} // namespace

bool Dictation::takeSound() {
    const auto portion = m_job->sound().take();
    if (portion.state == SoundQueue::State::abandoned)
        return false;
    for (const AudioBuffer &buffer : portion.items) {
        if (buffer.format.channelCount == 0)
            continue;
        if (!m_resampler || m_resampler->inputFormat() != buffer.format)
            m_resampler.emplace(buffer.format);
        m_sound.append(m_resampler->convert(buffer.samples), m_sent);
    }
    if (portion.state == SoundQueue::State::ended && !std::exchange(m_hasEnded, true) && m_resampler)
        m_sound.append(m_resampler->finish(), m_sent);
    return true;
}

std::span<const std::int16_t> Dictation::nextSound(std::size_t count) {
    const auto sound = m_sound.from(m_sent, count);
    m_sent += sound.size();
    if (!sound.empty())
        m_underWayUntil.push_back(m_sent);
    return sound;
}

void Dictation::heard() {
    if (m_underWayUntil.empty())
        return;
    const bool hasCaughtUp = m_underWayUntil.front() >= m_catchesUpUntil;
    m_underWayUntil.pop_front();
    if (hasCaughtUp && std::exchange(m_isCatchingUp, false))
        report(m_latest);
}

void Dictation::interim(const std::string &text) { report(joined(text)); }

void Dictation::settled(const std::string &text, std::uint64_t position) {
    if (position <= m_settledEnd || position > m_sent)
        throw recognizer::ProtocolError("a text of other sound than was sent");
    m_settledEnd = position;
    m_settled = joined(text);
    if (m_settled.size() > longestText)
        throw recognizer::ProtocolError("a text that is too long");
    m_sound.discardBefore(position);
    report(m_settled);
}

void Dictation::finished(const std::string &text) { m_job->report(RecognitionResult{joined(text), true}); }

void Dictation::failed(const QString &description) { m_job->fail(LocalizedError(description)); }

std::uint64_t Dictation::rewind() {
    isEndSent = false;
    m_underWayUntil.clear();
    m_catchesUpUntil = std::max(m_catchesUpUntil, m_sent);
    m_sent = m_sound.begin();
    m_isCatchingUp = m_sent < m_catchesUpUntil;
    return m_sent;
}

QString Dictation::joined(const std::string &text) const {
    return joinTexts(m_settled, QString::fromStdString(text));
}

void Dictation::report(const QString &text) {
    m_latest = text;
    if (m_isCatchingUp && text.size() < m_reported.size())
        return;
    if (std::exchange(m_reported, text) != text)
        m_job->report(RecognitionResult{text, false});
}

} // namespace quillora::platform
