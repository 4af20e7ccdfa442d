#include "platform/linux/recognition/RecognizerClient.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <poll.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

/// Of one message, so that the process is never far from its next answer.
constexpr std::size_t portionSamples = recognizer::sampleRate / 8;
/// Messages that have not been answered: enough to keep the process busy until this thread has its turn on a
/// busy machine, few enough for a cancelled dictation to make way at once.
constexpr std::size_t window = 8;

QString ended() { return u"Speech recognition was ended."_s; }
QString missing() { return u"The speech model is not there."_s; }
QString damaged() { return u"The speech model is damaged."_s; }
QString unsuitable() { return u"The speech model does not work on this computer."_s; }
QString notStarted() { return u"The speech recognizer could not be started."_s; }
QString notRecognized() { return u"The speech could not be recognized."_s; }
QString replaced() { return u"Quillora was replaced by another version: start it again."_s; }
QString noMemory() { return u"There is not enough memory for the speech model."_s; }

} // namespace

RecognizerClient::RecognizerClient(std::string program, Limits limits, std::function<void()> dictationEnded)
    : m_program(std::move(program)), m_limits(limits), m_dictationEnded(std::move(dictationEnded)),
      m_worker("recognition", [this](Worker &worker) { run(worker); }) {}

void RecognizerClient::load(std::vector<RecognizerModel> models) {
    ++m_loadsToCome;
    m_worker.post([this, models = std::move(models)] {
        m_models.assign(models.begin(), models.end());
        m_modelState = ModelState::loading;
        --m_loadsToCome;
        beginAnew();
    });
}

std::shared_ptr<RecognitionJob> RecognizerClient::recognize(RecognitionHandler handler) {
    auto job = std::make_shared<RecognitionJob>(m_worker.wakeUp(), std::move(handler));
    ++m_dictationCount;
    const std::shared_ptr<void> underWay(nullptr, [this](void *) {
        --m_dictationCount;
        m_dictationEnded();
    });
    m_worker.post([this, job, underWay] { accept(job, underWay); });
    return job;
}

void RecognizerClient::run(Worker &worker) {
    while (worker.doPosted()) {
        takeSound();
        if (!m_process && !m_models.empty() && (m_isWanted || !m_dictations.empty()))
            start();
        else if (m_isReady && m_dictations.empty() && !m_judgement)
            judgeModel(worker);
        else if (m_process)
            converse(worker);
        else
            waitForEvents(worker);
    }
    dropProcess();
    for (auto &dictation : m_dictations)
        dictation.failed(ended());
}

void RecognizerClient::accept(std::shared_ptr<RecognitionJob> job, std::shared_ptr<void> underWay) {
    const auto limit = static_cast<std::size_t>(m_limits.keptSound.count()) * recognizer::sampleRate;
    if (m_modelState == ModelState::failed)
        job->fail(LocalizedError(m_failure));
    else
        m_dictations.emplace_back(++m_lastNumber, std::move(job), limit, std::move(underWay));
}

void RecognizerClient::takeSound() {
    for (auto dictation = m_dictations.begin(); dictation != m_dictations.end();) {
        if (dictation->takeSound()) {
            ++dictation;
            continue;
        }
        if (dictation->hasBegun && !dictation->isEndSent)
            send(recognizer::Cancel{dictation->number()});
        dictation = m_dictations.erase(dictation);
    }
}

void RecognizerClient::start() {
    const auto &model = m_models.front();
    if (model.judge(ModelCheck::sizes, [] { return false; }) == ModelJudgement::wrong)
        return modelFailed(damaged());
    try {
        m_process.emplace(m_program);
        send(recognizer::Open{recognizer::protocolVersion, model.engine, model.files, model.parameters});
        expect({Expected::Kind::opening, m_limits.loading});
    } catch (const std::exception &) {
        noProcess(notStarted());
    }
}

/// With another model.
void RecognizerClient::beginAnew() {
    dropProcess();
    m_judgement.reset();
    m_isTried = false;
    m_deathsInARow = 0;
    m_lostInARow = 0;
    for (auto &dictation : m_dictations)
        dictation.deaths = 0;
    m_isWanted = true;
}

/// Once for each model, while nobody waits for anything; a press comes first.
void RecognizerClient::judgeModel(const Worker &worker) {
    const auto isUnwanted = [&worker] { return worker.isCalled(); };
    const auto judgement = m_models.front().judge(ModelCheck::checksums, isUnwanted);
    if (isUnwanted())
        return;
    m_judgement = judgement;
    if (judgement == ModelJudgement::wrong)
        modelFailed(damaged());
}

/// One turn of the conversation with the process.
void RecognizerClient::converse(const Worker &worker) {
    try {
        speak();
        waitForEvents(worker);
        listen();
    } catch (const recognizer::ProtocolError &) {
        processDied(worker);
    }
}

void RecognizerClient::speak() {
    while (!m_outbox.empty() && m_process->channel().trySend(m_outbox.front()))
        m_outbox.pop_front();
    if (m_isReady && !m_dictations.empty())
        speakOf(m_dictations.front());
    else if (m_isReady && !m_isTried && m_models.front().tried)
        tryModel();
}

void RecognizerClient::tryModel() {
    m_isTried = true;
    send(recognizer::Try{});
    expect({Expected::Kind::tried, m_limits.loading}); // on the slowest of computers, too
}

void RecognizerClient::speakOf(Dictation &dictation) {
    if (!dictation.hasBegun) {
        send(recognizer::Begin{dictation.number(), dictation.rewind()});
        dictation.hasBegun = true;
    }
    while (m_unanswered.size() < window && m_outbox.empty()) {
        const auto samples = dictation.nextSound(portionSamples);
        if (samples.empty())
            break;
        send(recognizer::Sound{dictation.number(), {samples.begin(), samples.end()}});
        expect({Expected::Kind::heard, decoding(samples.size()), dictation.number()});
    }
    if (dictation.isAllSent() && !dictation.isEndSent) {
        send(recognizer::End{dictation.number()});
        expect({Expected::Kind::finished, decoding(0), dictation.number()});
        dictation.isEndSent = true;
    }
}

void RecognizerClient::send(const recognizer::Command &command) {
    auto message = recognizer::encode(command);
    if (!m_outbox.empty() || !m_process->channel().trySend(message))
        m_outbox.push_back(std::move(message));
}

void RecognizerClient::expect(const Expected &expected) {
    if (m_unanswered.empty())
        noteAnswer();
    m_unanswered.push_back(expected);
}

void RecognizerClient::noteAnswer() {
    m_lastAnswer = Clock::now();
    m_starved = m_process->starved();
}

void RecognizerClient::waitForEvents(const Worker &worker) {
    std::array<pollfd, 2> events{{{worker.descriptor(), POLLIN, 0}, {-1, POLLIN, 0}}};
    int patience = -1;
    if (m_process) {
        events[1].fd = m_process->channel().descriptor();
        if (!m_outbox.empty())
            events[1].events = POLLIN | POLLOUT;
        const auto rest = std::chrono::ceil<milliseconds>(deadline() - Clock::now());
        patience = static_cast<int>(std::max(rest, 0ms).count());
    }
    ::poll(events.data(), events.size(), patience);
}

/// How long decoding may take.
milliseconds RecognizerClient::decoding(std::size_t samples) const {
    const milliseconds duration(1000 * samples / recognizer::sampleRate);
    return m_limits.silence + 3 * (duration + m_models.front().longestDecoding);
}

milliseconds RecognizerClient::patience() const {
    if (m_unanswered.empty())
        return m_limits.idleness;
    const Expected &next = m_unanswered.front();
    return next.kind == Expected::Kind::tried && !m_dictations.empty() ? m_limits.trial : next.patience;
}

/// When a silent process hangs, or has been idle for long enough.
RecognizerClient::Clock::time_point RecognizerClient::deadline() const { return m_lastAnswer + patience(); }

/// A process does not hang while a busy machine keeps it waiting.
bool RecognizerClient::isOverdue() {
    if (Clock::now() < deadline())
        return false;
    const auto starved = m_process->starved();
    m_lastAnswer += starved - std::exchange(m_starved, starved);
    return Clock::now() >= deadline();
}

void RecognizerClient::listen() {
    // However much the process has to say, others are heard too.
    constexpr int atOnce = 100;
    for (int i = 0; m_process && i < atOnce; ++i) {
        const auto message = m_process->channel().tryReceive();
        if (!message)
            break;
        std::visit([this](const auto &answer) { take(answer); }, recognizer::decodeAnswer(*message));
    }
    if (!m_process || !isOverdue())
        return;
    if (!m_unanswered.empty())
        throw recognizer::ProtocolError("silence");
    if (m_dictations.empty()) {
        dropProcess();
        m_isWanted = false;
    }
    m_lastAnswer = Clock::now();
}

void RecognizerClient::take(const recognizer::Ready &ready) {
    answered(Expected::Kind::opening);
    constexpr auto all = recognizer::systemCalls | recognizer::files;
    static std::atomic_flag hasWarned; // the kernel is the same for every client
    if (ready.protections != all && !hasWarned.test_and_set())
        qWarning("This kernel cannot confine the speech recognizer; it works without that.");
    m_isReady = true;
    m_modelState = ModelState::ready;
}

void RecognizerClient::take(const recognizer::Refused &refused) {
    answered(Expected::Kind::opening);
    switch (refused.reason) {
    case recognizer::Refusal::missing:
        return modelFailed(missing());
    case recognizer::Refusal::damaged:
        return modelFailed(damaged());
    case recognizer::Refusal::incompatible:
        return modelFailed(unsuitable());
    case recognizer::Refusal::otherVersion:
        qWarning(
            "The speech recognizer is of another version than this program, which has to be started again.");
        return noProcess(replaced());
    }
}

void RecognizerClient::take(const recognizer::Heard &heard) {
    answered(Expected::Kind::heard, heard.dictation);
    m_deathsInARow = 0;
    if (auto *const current = dictation(heard.dictation))
        current->heard();
}

void RecognizerClient::take(const recognizer::Interim &interim) {
    if (auto *const current = dictation(interim.dictation))
        current->interim(interim.text);
}

void RecognizerClient::take(const recognizer::Settled &settled) {
    if (auto *const current = dictation(settled.dictation))
        current->settled(settled.text, settled.position);
}

void RecognizerClient::take(const recognizer::Finished &finished) {
    answered(Expected::Kind::finished, finished.dictation);
    m_lostInARow = 0;
    if (auto *const current = dictation(finished.dictation)) {
        current->finished(finished.text);
        m_dictations.pop_front();
    }
}

void RecognizerClient::take(const recognizer::Tried &tried) {
    answered(Expected::Kind::tried);
    m_deathsInARow = 0;
    m_models.front().tried(milliseconds(tried.milliseconds));
}

void RecognizerClient::answered(Expected::Kind kind, std::uint32_t dictation) {
    if (m_unanswered.empty() || !m_unanswered.front().isAnsweredBy(kind, dictation))
        throw recognizer::ProtocolError("an answer out of its turn");
    m_unanswered.pop_front();
    noteAnswer();
}

/// The one under way, if it is this one; of a cancelled one there may be answers yet.
Dictation *RecognizerClient::dictation(std::uint32_t number) {
    const bool isUnderWay =
        !m_dictations.empty() && m_dictations.front().hasBegun && m_dictations.front().number() == number;
    return isUnderWay ? &m_dictations.front() : nullptr;
}

/// With the one under way, and not with what is before it.
bool RecognizerClient::isBusyWithDictation() const {
    if (m_dictations.empty() || !m_dictations.front().hasBegun)
        return false;
    return m_unanswered.empty() || m_unanswered.front().dictation == m_dictations.front().number();
}

/// Or under way.
bool RecognizerClient::isTrialAhead() const {
    if (!m_unanswered.empty())
        return m_unanswered.front().kind == Expected::Kind::tried;
    return m_isReady && !m_isTried && m_models.front().tried;
}

/// With a dictation that was released, and whose words come too late.
bool RecognizerClient::isBusyForNobody() {
    return !m_unanswered.empty() && m_unanswered.front().dictation != 0 &&
           dictation(m_unanswered.front().dictation) == nullptr;
}

void RecognizerClient::processDied(const Worker &worker) {
    const bool wasReady = m_isReady;
    const bool wasIdle = wasReady && m_unanswered.empty() && m_dictations.empty();
    const bool wasDictated = isBusyWithDictation();
    const bool wasForNobody = isBusyForNobody();
    const bool wasTried = m_dictations.empty() && isTrialAhead();
    const int status = m_process->collect();
    dropProcess();
    m_isWanted = !wasReady || wasTried;
    if (wasTried)
        m_isTried = false; // whoever waits for that must hear of it, by another try or the second death
    if (status == recognizer::noMemoryStatus && !wasReady)
        return memoryRanOut();
    if (wasIdle && !wasTried)
        return;
    constexpr int mostDeaths = 2;
    const bool isLost = wasDictated && ++m_dictations.front().deaths == mostDeaths;
    if (isLost || wasForNobody)
        ++m_lostInARow;
    if (++m_deathsInARow == mostDeaths || m_lostInARow == mostDeaths) {
        m_deathsInARow = 0;
        m_lostInARow = 0;
        // The kernel kills who takes the most memory. There may be enough again at the next press.
        if (status == -SIGKILL || status == recognizer::noMemoryStatus)
            return memoryRanOut();
        return modelFailed(isModelWrong(worker) ? damaged() : unsuitable());
    }
    if (isLost) {
        m_dictations.front().failed(notRecognized());
        m_dictations.pop_front();
    }
}

/// Which is no model's fault.
void RecognizerClient::noProcess(const QString &description) {
    dropProcess();
    m_models.front().noProcess();
    failAll(description);
}

/// Which a damaged model can bring about, too.
void RecognizerClient::memoryRanOut() {
    m_models.front().doubt();
    failAll(noMemory());
}

bool RecognizerClient::isModelWrong(const Worker &worker) {
    if (!m_judgement)
        m_judgement = m_models.front().judge(ModelCheck::checksums, [&worker] { return worker.isEnding(); });
    return m_judgement == ModelJudgement::wrong;
}

void RecognizerClient::modelFailed(const QString &description) {
    m_models.front().reject(description);
    takeNextModel(description);
}

/// Where there is none, nothing is recognized until others are loaded.
void RecognizerClient::takeNextModel(const QString &description) {
    m_models.pop_front();
    beginAnew();
    if (!m_models.empty())
        return;
    m_modelState = ModelState::failed;
    m_failure = description;
    failAll(description);
}

void RecognizerClient::failAll(const QString &description) {
    m_isWanted = false;
    for (auto &dictation : std::exchange(m_dictations, std::list<Dictation>()))
        dictation.failed(description);
}

void RecognizerClient::dropProcess() {
    m_process.reset();
    m_isReady = false;
    m_outbox.clear();
    m_unanswered.clear();
    for (auto &dictation : m_dictations)
        dictation.hasBegun = false;
}

} // namespace quillora::platform
