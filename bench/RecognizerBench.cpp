// Recognition in a process of its own, with PocketSphinx: what the process costs beside the same in this one,
// and an hour of recorded speech in one dictation.
//   RecognizerBench                    everything, with an hour that is compared
//   RecognizerBench MINUTES [compare]  so many minutes alone; `compare` decodes them in one utterance, too
// Exit status 1 where a goal is missed.
#include "BusyTime.h"
#include "Recognizing.h"
#include "platform/linux/Worker.h"
#include "platform/linux/recognition/RecognizerProcess.h"
#include "platform/linux/recognition/SpeechResampler.h"
#include "recognizer/Session.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "support/WordErrorRate.h"

#include <csignal>
#include <cstdio>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <thread>
#include <unistd.h>

using namespace quillora;
using namespace quillora::bench;
using namespace std::chrono_literals;
using test::Recording;
using test::WordErrorRate;

namespace {

std::unique_ptr<recognizer::Decoder> loadedDecoder() {
    return recognizer::PocketSphinxEngine().load({.files = pocketSphinxModel().files});
}

void printStart() {
    std::vector<double> starts;
    for (int i = 0; i < 5; ++i) {
        QElapsedTimer timer;
        timer.start();
        const auto client = loadedClient(pocketSphinxModel());
        starts.push_back(milliseconds(timer));
    }
    std::printf("process started, model loaded, an empty dictation: %.0f ms\n", median(starts));
    const double before = memoryOf(::getpid());
    const auto client = loadedClient(pocketSphinxModel());
    std::printf(
        "memory: this program %.1f MiB (%.1f without the client), recognizer %.1f MiB with its model\n",
        memoryOf(::getpid()), before, memoryOf(recognizerProcess()));
}

/// Of a process that has just found that it cannot load a model.
void printMemoryWithoutModel() {
    platform::RecognizerProcess process(QUILLORA_RECOGNIZER);
    process.channel().send(recognizer::encode(recognizer::Open{recognizer::protocolVersion, "none", {}, {}}));
    process.channel().receive();
    const double memory = memoryOf(process.id());
    std::printf("memory: recognizer %.1f MiB without a model %s\n", memory, beside(65, memory).constData());
}

/// The texts of a dictation, each with the time when it was first there. Any thread.
class Texts {
public:
    using Clock = std::chrono::steady_clock;

    void add(const QString &text) {
        const std::lock_guard lock(m_mutex);
        m_times.try_emplace(text, Clock::now());
    }
    std::map<QString, Clock::time_point> times() const {
        const std::lock_guard lock(m_mutex);
        return m_times;
    }

private:
    mutable std::mutex m_mutex;
    std::map<QString, Clock::time_point> m_times;
};

/// The same parts in a thread of this process.
class InThisProcess {
public:
    InThisProcess() {
        m_engines.push_back(std::make_unique<recognizer::PocketSphinxEngine>());
        const auto model = pocketSphinxModel();
        m_session.handle(recognizer::Open{recognizer::protocolVersion, model.engine, model.files, {}});
        m_session.handle(recognizer::Begin{1, 0});
    }
    void hear(const Samples &buffer) {
        m_thread.post(
            [this, buffer] { m_session.handle(recognizer::Sound{1, m_resampler.convert(buffer)}); });
    }
    /// Processor time of the thread in nanoseconds.
    qint64 end() {
        std::promise<qint64> busy;
        m_thread.post([&] {
            m_session.handle(recognizer::End{1});
            busy.set_value(busyNanoseconds());
        });
        return busy.get_future().get();
    }

    Texts texts;

private:
    void take(const recognizer::Answer &answer) {
        if (const auto *settled = std::get_if<recognizer::Settled>(&answer))
            m_settled = joined(settled->text);
        else if (const auto *interim = std::get_if<recognizer::Interim>(&answer))
            texts.add(joined(interim->text));
    }
    QString joined(const std::string &text) const {
        return (m_settled + u' ' + QString::fromStdString(text)).trimmed();
    }

    recognizer::Engines m_engines;
    QString m_settled;
    recognizer::Session m_session{m_engines, [this](const auto &answer) { take(answer); },
                                  [](const auto &) { return 0u; }};
    platform::SpeechResampler m_resampler{{16000, 1}};
    platform::Worker m_thread{"in this process", [](platform::Worker &thread) { thread.serve(); }};
};

/// Its checksums are looked at while nobody dictates, which would be counted.
void waitUntilIdle() {
    double before = 0;
    do {
        before = timeOfBoth();
        std::this_thread::sleep_for(300ms);
    } while (timeOfBoth() - before > 0.01);
}

struct Overhead {
    double ofAProcessor;        ///< in percent
    double besideDecoding;      ///< in percent
    std::vector<double> delays; ///< of the texts that both showed, in milliseconds
    std::size_t otherTexts;     ///< that one of the two showed alone
};

/// What a dictation takes more by way of the process. A thread of this one gets the same sound, buffer by
/// buffer at the same time: whatever slows the computer slows both.
Overhead overhead(const Samples &sound) {
    const auto client = loadedClient(pocketSphinxModel());
    waitUntilIdle();
    InThisProcess inThisProcess;
    Texts texts;

    const double before = timeOfBoth();
    const auto ownBefore = busyNanoseconds();
    qint64 posting = 0, handingOver = 0;
    Dictating dictating(*client, [&texts](const QString &text) { texts.add(text); });
    pace(sound, [&](const Samples &buffer) {
        const auto begin = busyNanoseconds();
        dictating.hear(buffer);
        const auto middle = busyNanoseconds();
        inThisProcess.hear(buffer);
        handingOver += middle - begin;
        posting += busyNanoseconds() - middle;
    });
    const double here = double(inThisProcess.end() + posting) / 1e9;
    const double pacing = double(busyNanoseconds() - ownBefore - posting - handingOver) / 1e9;
    dictating.end();
    const double there = timeOfBoth() - before - here - pacing;
    std::printf("  %.2f s here, %.2f s by way of the process\n", here, there);

    std::vector<double> delays;
    const auto timesHere = inThisProcess.texts.times(), timesThere = texts.times();
    for (const auto &[text, time] : timesHere) {
        if (const auto other = timesThere.find(text); other != timesThere.end())
            delays.push_back(std::chrono::duration<double, std::milli>(other->second - time).count());
    }
    const auto otherTexts = timesHere.size() + timesThere.size() - 2 * delays.size();
    return {100 * (there - here) * recognizer::sampleRate / double(sound.size()), 100 * (there / here - 1),
            delays, otherTexts};
}

void printOverhead() {
    const auto sound = allRecordings();
    std::vector<double> ofAProcessor, besideDecoding, delays;
    std::size_t otherTexts = 0;
    for (int i = 0; i < 7; ++i) {
        const auto one = overhead(sound);
        ofAProcessor.push_back(one.ofAProcessor);
        besideDecoding.push_back(one.besideDecoding);
        delays.insert(delays.end(), one.delays.begin(), one.delays.end());
        otherTexts += one.otherTexts;
    }
    std::printf("the process takes %.1f %% of a processor %s, %+.1f %% beside what decoding takes\n",
                median(ofAProcessor), beside(2, median(ofAProcessor)).constData(), median(besideDecoding));
    std::printf("interim texts come %.2f ms later %s: %zu texts; %zu were shown here or there alone\n",
                median(delays), beside(1, median(delays)).constData(), delays.size(), otherTexts);
}

void printDelays() {
    const auto client = loadedClient(pocketSphinxModel());
    const auto buffers = inBuffers(Recording::all().front().sound().samples);
    std::vector<double> appends, ends, endsAtOnce;
    for (int i = 0; i < 10; ++i) {
        Dictating dictating(*client);
        for (auto buffer : buffers) {
            QElapsedTimer timer;
            timer.start();
            dictating.hear(std::move(buffer));
            appends.push_back(milliseconds(timer));
            std::this_thread::sleep_for(21ms);
        }
        const bool isAtOnce = i % 2 == 1;
        if (!isAtOnce)
            std::this_thread::sleep_for(500ms);
        QElapsedTimer timer;
        timer.start();
        dictating.end();
        (isAtOnce ? endsAtOnce : ends).push_back(milliseconds(timer));
    }
    std::printf("a delivered buffer is kept within %.4f ms (median; %.3f at most) %s\n", median(appends),
                *std::max_element(appends.begin(), appends.end()), beside(1, median(appends)).constData());
    std::printf(
        "final text after the release: %.1f ms where all sound has been decoded %s, %.1f ms right behind "
        "the last buffer\n",
        median(ends), beside(25, median(ends)).constData(), median(endsAtOnce));
}

/// How much of its time a message is on its way: an empty dictation has nothing to decode.
void printRoundTrip() {
    const auto client = loadedClient(pocketSphinxModel());
    std::vector<double> turns;
    for (int i = 0; i < 50; ++i) {
        QElapsedTimer timer;
        timer.start();
        Dictating(*client).end();
        turns.push_back(milliseconds(timer));
    }
    std::printf("a dictation without sound, both ways: %.2f ms %s\n", median(turns),
                beside(1, median(turns)).constData());
}

/// The process dies when a minute has been heard, and another one takes over.
void printTakeover() {
    const auto buffers = inBuffers(Recording::all().front().sound().samples);
    const auto client = loadedClient(pocketSphinxModel());
    std::vector<double> takeovers;
    double heard = 0; // seconds
    for (int i = 0; i < 3; ++i) {
        Dictating dictating(*client);
        for (heard = 0; heard < 60;) {
            for (const auto &buffer : buffers) {
                dictating.hear(buffer);
                heard += double(buffer.size()) / 16000;
            }
        }
        dictating.waitForQuiet();
        ::kill(pid_t(recognizerProcess()), SIGKILL);
        QElapsedTimer timer;
        timer.start();
        dictating.end();
        takeovers.push_back(milliseconds(timer) / 1000);
    }
    std::printf("a takeover after %.0f s, to the final text: %.1f s %s\n", heard, median(takeovers),
                beside(heard, median(takeovers)).constData());
}

/// As fast as it can be decoded; beside it, if asked for, the same in one utterance.
void printLongDictation(int minutes, bool isCompared) {
    QString spoken;
    const auto buffers = inBuffers(allRecordings(&spoken));
    QString allSpoken;
    const auto client = loadedClient(pocketSphinxModel());
    Dictating dictating(*client);
    std::printf("minutes  this program  recognizer\n");
    const auto print = [](int minute) {
        std::printf("%7d  %8.1f MiB  %6.1f MiB\n", minute, memoryOf(::getpid()),
                    memoryOf(recognizerProcess()));
        std::fflush(stdout);
    };
    double heard = 0; // seconds
    int printed = 0;
    print(0);
    while (heard < 60.0 * minutes) {
        allSpoken += spoken;
        for (const auto &buffer : buffers) {
            dictating.hear(buffer);
            heard += double(buffer.size()) / 16000;
        }
        dictating.waitForQuiet(); // or the sound that is kept would be full some day
        if (int(heard / 60) / 5 > printed)
            print(5 * (printed = int(heard / 60) / 5));
    }
    const auto text = dictating.end();
    print(minutes);
    std::printf("word error rate of %.0f minutes, cut at pauses: %.1f %%, %d texts\n", heard / 60,
                WordErrorRate::of(text, allSpoken).percent(), dictating.texts());
    std::fflush(stdout);
    if (!isCompared)
        return;
    const auto decoder = loadedDecoder();
    decoder->beginUtterance();
    int texts = 0;
    std::string last;
    for (double again = 0; again < heard;) {
        for (const auto &buffer : buffers) {
            decoder->accept(buffer);
            texts += std::exchange(last, decoder->text()) != last;
            again += double(buffer.size()) / 16000;
        }
    }
    decoder->endUtterance();
    std::printf("the same in one utterance: %.1f %%, %d texts, %.1f MiB\n",
                WordErrorRate::of(QString::fromStdString(decoder->text()), allSpoken).percent(), texts,
                memoryOf(::getpid()));
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 1) {
        printStart();
        printMemoryWithoutModel();
        printRoundTrip();
        printDelays();
        printOverhead();
        printTakeover();
    }
    printLongDictation(argc > 1 ? QByteArray(argv[1]).toInt() : 60, argc == 1 || argc > 2);
    return isEachGoalMet ? 0 : 1;
}
