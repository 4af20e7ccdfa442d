#include "recognizer/Session.h"

#include <algorithm>
#include <ctime>
#include <numeric>
#include <random>
#include <span>
#include <utility>

namespace quillora::recognizer {

namespace {

constexpr std::uint64_t second = sampleRate;

/// How long nobody must have spoken for an utterance of this length to be over. An engine tells of a pause
/// when half a second of it has passed, so that the shortest is as short as can be.
std::uint64_t pauseThatEnds(std::uint64_t length) { return length < 10 * second ? second / 2 : 1; }

/// An utterance without any pause ends behind a word once it is `longUtterance`, and anyhow at `longest`.
constexpr auto longUtterance = 60 * second;
constexpr auto longest = 70 * second;

/// Whether the last moment is much quieter than the second that it is the end of. It is longer than what a
/// voice stops for within a word.
bool isBetweenWords(std::span<const std::int16_t> recent) {
    constexpr std::size_t moment = second * 3 / 20;
    constexpr double quieter = 16; // 12 dB
    if (recent.size() < moment)
        return false;
    const auto power = [](std::span<const std::int16_t> samples) {
        const auto add = [](double sum, double sample) { return sum + sample * sample; };
        return std::accumulate(samples.begin(), samples.end(), 0.0, add) /
               static_cast<double>(samples.size());
    };
    return quieter * power(recent.last(moment)) < power(recent);
}

/// The next utterance begins with the end of a pause, or an engine would miss how a word begins that has not
/// become speech yet.
constexpr std::size_t leadIn = second / 5;

/// As much as an utterance that ends early may give back.
constexpr std::size_t mostRecent = second;

/// Two seconds that no engine takes for a pause: noise that somebody makes in a quiet room.
std::vector<std::int16_t> soundOfTrial() {
    std::minstd_rand random;
    std::vector<std::int16_t> sound(2 * second);
    for (std::size_t i = second / 4; i < sound.size(); ++i)
        sound[i] = static_cast<std::int16_t>(static_cast<int>(random() % 8192) - 4096);
    return sound;
}

} // namespace

Session::Session(const Engines &engines, Send send, Confine confine, Stopwatch stopwatch)
    : m_engines(engines), m_send(std::move(send)), m_confine(std::move(confine)),
      m_stopwatch(std::move(stopwatch)) {}

std::chrono::milliseconds Session::ownTime(const std::function<void()> &work) {
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::steady_clock;
    const auto began = steady_clock::now();
    const std::clock_t processor = std::clock();
    work();
    // Of several threads the processors' time is more than what passes.
    const auto passed = duration_cast<milliseconds>(steady_clock::now() - began);
    return std::min(passed, milliseconds((std::clock() - processor) * 1000 / CLOCKS_PER_SEC));
}

void Session::handle(const Command &command) {
    std::visit([this](const auto &message) { take(message); }, command);
}

void Session::take(const Open &open) {
    if (std::exchange(m_isOpened, true))
        throw ProtocolError("a second model");
    if (open.version != protocolVersion) {
        m_send(Refused{Refusal::otherVersion});
        return;
    }
    const auto engine = std::find_if(m_engines.begin(), m_engines.end(),
                                     [&](const auto &one) { return one->name() == open.engine; });
    if (engine == m_engines.end()) {
        m_send(Refused{Refusal::incompatible});
        return;
    }
    auto readable = open.files;
    for (auto &file : (*engine)->ownFiles())
        readable.push_back(std::move(file));
    const auto protections = m_confine(readable);
    try {
        m_decoder = (*engine)->load(open);
        m_send(Ready{protections});
    } catch (const LoadFailure &failure) {
        m_send(Refused{failure.reason});
    }
}

void Session::take(const Begin &begin) {
    if (!m_decoder || m_dictation)
        throw ProtocolError("a dictation out of its turn");
    m_dictation.emplace(begin.dictation, begin.position);
    m_decoder->beginUtterance();
}

void Session::take(const Sound &sound) {
    auto &current = dictation(sound.dictation);
    decode(current, sound.samples);
    settleAtPause(current);
    m_send(Heard{current.number});
}

void Session::take(const End &end) {
    const auto &current = dictation(end.dictation);
    m_decoder->endUtterance();
    m_send(Finished{current.number, m_decoder->text()});
    m_dictation.reset();
}

void Session::take(const Cancel &cancel) {
    dictation(cancel.dictation);
    m_decoder->endUtterance();
    m_dictation.reset();
}

void Session::take(const Try &) {
    if (!m_decoder || m_dictation)
        throw ProtocolError("a trial out of its turn");
    const auto sound = soundOfTrial();
    const auto took = m_stopwatch([&] {
        m_decoder->beginUtterance();
        m_decoder->accept(sound);
        m_decoder->endUtterance();
    });
    m_send(Tried{static_cast<std::uint32_t>(took.count())});
}

Session::Dictation &Session::dictation(std::uint32_t number) {
    if (!m_dictation || m_dictation->number != number)
        throw ProtocolError("a message of no dictation");
    return *m_dictation;
}

void Session::decode(Dictation &dictation, std::span<const std::int16_t> samples) {
    m_decoder->accept(samples);
    dictation.position += samples.size();
    if (m_decoder->hearsSpeech())
        dictation.lastSpeech = dictation.position;
    auto &recent = dictation.recent;
    recent.insert(recent.end(), samples.begin(), samples.end());
    if (recent.size() > mostRecent)
        recent.erase(recent.begin(), recent.end() - mostRecent);
    const auto text = m_decoder->text();
    if (std::exchange(dictation.interim, text) != text)
        m_send(Interim{dictation.number, text});
}

/// Returns how much of the utterance's end the next one begins with.
std::size_t Session::endAtPause() {
    m_decoder->endUtterance();
    return leadIn;
}

void Session::settleAtPause(Dictation &dictation) {
    const auto length = dictation.position - dictation.utteranceBegin;
    const auto pause = dictation.position - dictation.lastSpeech;
    const bool isLongEnough =
        length >= longest || (length >= longUtterance && isBetweenWords(dictation.recent));
    if (pause < pauseThatEnds(length) && !isLongEnough && !m_decoder->isFull())
        return;
    // Before anybody has spoken there is nothing to settle but that sound is not needed any more.
    constexpr auto longSilence = 5 * second;
    if (dictation.interim.empty() && length < longSilence)
        return;
    const auto repeated = std::min(pause > 0 ? endAtPause() : m_decoder->endEarly(), dictation.recent.size());
    const auto text = m_decoder->text();
    const std::vector<std::int16_t> overlap(dictation.recent.end() - static_cast<std::ptrdiff_t>(repeated),
                                            dictation.recent.end());
    dictation = Dictation(dictation.number, dictation.position - overlap.size());
    m_send(Settled{dictation.number, dictation.position, text});
    m_decoder->beginUtterance();
    if (!overlap.empty())
        decode(dictation, overlap);
}

} // namespace quillora::recognizer
