// Recognition in a process of its own, with PocketSphinx: what the process costs beside the same in this one,
// and an hour of recorded speech in one dictation.
//   RecognizerBench                    everything, with an hour that is compared
//   RecognizerBench MINUTES [compare]  so many minutes alone; `compare` decodes them in one utterance, too
// Exit status 1 where a goal is missed.
#include "BusyTime.h"
#include "Recognizing.h"
#include "platform/linux/recognition/RecognizerProcess.h"
#include "platform/linux/recognition/SpeechResampler.h"
#include "recognizer/Session.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "support/WordErrorRate.h"

#include <csignal>
#include <cstdio>
#include <functional>
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

/// How much more of the processors a dictation takes by way of the process, in percent. The same parts get
/// the same sound in this thread, buffer by buffer at the same time: whatever slows the computer slows both.
double overhead(const Samples &sound) {
    recognizer::Engines engines;
    engines.push_back(std::make_unique<recognizer::PocketSphinxEngine>());
    const auto model = pocketSphinxModel();
    recognizer::Session session(engines, [](const auto &) {}, [](const auto &) { return 0u; });
    session.handle(recognizer::Open{recognizer::protocolVersion, model.engine, model.files, {}});
    platform::SpeechResampler resampler({16000, 1});
    const auto client = loadedClient(model);

    const double before = timeOfBoth();
    const auto beforeHere = busyNanoseconds();
    qint64 handingOver = 0;
    Dictating dictating(*client);
    session.handle(recognizer::Begin{1, 0});
    pace(sound, [&](const Samples &buffer) {
        const auto began = busyNanoseconds();
        dictating.hear(buffer);
        handingOver += busyNanoseconds() - began;
        session.handle(recognizer::Sound{1, resampler.convert(buffer)});
    });
    session.handle(recognizer::End{1});
    const double here = double(busyNanoseconds() - beforeHere - handingOver) / 1e9;
    dictating.end();
    const double there = timeOfBoth() - before - here;
    std::printf("  %.2f s here, %.2f s by way of the process\n", here, there);
    return 100 * (there / here - 1);
}

void printOverhead() {
    const auto sound = allRecordings();
    std::vector<double> more(7);
    std::generate(more.begin(), more.end(), [&] { return overhead(sound); });
    std::printf("processor time that the process takes more: %+.1f %% %s\n", median(more),
                beside(2, median(more)).constData());
}

void printDelays() {
    const auto client = loadedClient(pocketSphinxModel());
    const auto buffers = inBuffers(Recording::all().front().sound().samples);
    std::vector<double> appends, ends;
    for (int i = 0; i < 5; ++i) {
        Dictating dictating(*client);
        for (auto buffer : buffers) {
            QElapsedTimer timer;
            timer.start();
            dictating.hear(std::move(buffer));
            appends.push_back(milliseconds(timer));
            std::this_thread::sleep_for(21ms);
        }
        std::this_thread::sleep_for(500ms);
        QElapsedTimer timer;
        timer.start();
        dictating.end();
        ends.push_back(milliseconds(timer));
    }
    std::printf("a delivered buffer is kept within %.4f ms (%.3f at most) %s\n", median(appends),
                *std::max_element(appends.begin(), appends.end()), beside(1, median(appends)).constData());
    std::printf("final text after the end of the sound: %.1f ms %s\n", median(ends),
                beside(25, median(ends)).constData());
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
