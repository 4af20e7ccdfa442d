// Recognition in the recognizer's process with a streaming model as large as published ones, beside
// PocketSphinx: what its user waits for, and what it takes of the computer.
//   EnginesBench        everything, with an hour of sound, in about half an hour
//   EnginesBench quick  the same in a few minutes, with less sound and fewer repetitions
// In a column are the median of several and, behind it, the greatest. Exit status 1 where a goal is missed.
#include "Recognizing.h"
#include "recognizer/ToneModels.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "recognizer/protocol/SherpaFiles.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>
#include <thread>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::bench;
using namespace std::chrono_literals;
using platform::RecognizerClient;
using test::Recording;
using test::ToneSpeech;
using Clock = std::chrono::steady_clock;
using Values = std::vector<double>;

namespace {

constexpr int rate = recognizer::sampleRate;

double millisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

struct Extent {
    int runs;         ///< of what is short
    int longRuns;     ///< of what takes long
    int spokenLength; ///< in seconds, as somebody speaks
    int longMinutes;  ///< of a long dictation
    int hour;         ///< in minutes
};

constexpr Extent everything{11, 3, 60, 10, 60};
constexpr Extent quick{3, 1, 10, 2, 4};

/// A text of a sentence that may be shown when its sound has been heard so far.
struct TextOfSound {
    QString text;
    size_t end; ///< samples
};

struct Sentence {
    Samples sound;
    std::vector<TextOfSound> texts; ///< as the sentence grows
};

/// What is measured, by means of sound that it understands.
struct Engine {
    platform::RecognizerModel model;
    Samples speech; ///< to be heard again and again
    std::function<Sentence(int)> sentence;
};

// PocketSphinx.

/// It decodes what it has been given, and may show that at once. After a pause another utterance would begin.
Sentence readAloud(int number) {
    const auto recordings = Recording::all();
    Sentence sentence{recordings[size_t(number) % recordings.size()].sound().samples, {}};
    const auto decoder = recognizer::PocketSphinxEngine().load({.files = pocketSphinxModel().files});
    decoder->beginUtterance();
    decoder->endUtterance(); // as where it was waited for
    decoder->beginUtterance();
    size_t end = 0;
    for (const auto &buffer : inBuffers(sentence.sound)) {
        decoder->accept(buffer);
        end += buffer.size();
        const auto text = QString::fromStdString(decoder->text());
        if (!text.isEmpty() && !decoder->hearsSpeech())
            break;
        const bool isKnown = std::any_of(sentence.texts.begin(), sentence.texts.end(),
                                         [&](const auto &earlier) { return earlier.text.startsWith(text); });
        if (!text.isEmpty() && !isKnown)
            sentence.texts.push_back({text, end});
    }
    decoder->endUtterance();
    return sentence;
}

Engine pocketSphinx() { return {pocketSphinxModel(), allRecordings(), readAloud}; }

// The library with a model that understands tones.

constexpr double chunk = 320;     ///< milliseconds that the model decodes in one step
constexpr double lookAhead = 130; ///< that it hears beyond them before it does

/// A letter may be shown when it has been heard to its end, and what the model looks ahead. Each sentence has
/// its letters in other places of the model's steps.
Sentence inTones(int number) {
    constexpr std::string_view words = "the quick brown fox jumps";
    const ToneSpeech speech{.lead = 0.4 + 0.05 * number, .tail = (chunk + lookAhead) / 1000};
    Sentence sentence{speech.say(words), {}};
    double seconds = speech.lead;
    for (size_t i = 0; i < words.size(); ++i, seconds += 2 * speech.letterLength) {
        const double end = seconds + speech.letterLength + lookAhead / 1000;
        if (words[i] != ' ')
            sentence.texts.push_back(
                {QString::fromLatin1(words.substr(0, i + 1)), size_t(std::lround(end * rate))});
    }
    return sentence;
}

Engine heavy(const recognizer::Open &model) {
    platform::RecognizerModel toLoad{model.engine, model.files};
    toLoad.parameters = model.parameters;
    return {toLoad, ToneSpeech().say("the quick brown fox jumps over the lazy dog|"), inTones};
}

// Measuring.

/// So many seconds of it.
Samples speechOf(const Engine &engine, int seconds) {
    Samples speech;
    while (speech.size() < size_t(seconds) * rate)
        speech.insert(speech.end(), engine.speech.begin(), engine.speech.end());
    speech.resize(size_t(seconds) * rate);
    return speech;
}

struct Delivery {
    std::vector<Clock::time_point> times; ///< of each buffer
    Values took;                          ///< milliseconds, each
};

/// As a microphone delivers it: a buffer when all of it has been spoken.
Delivery speak(
    Dictating &dictating, const Samples &sound,
    const std::function<bool()> &isEnough = [] { return false; }) {
    Delivery delivery;
    pace(
        sound,
        [&](Samples buffer) {
            delivery.times.push_back(Clock::now());
            dictating.hear(std::move(buffer));
            delivery.took.push_back(millisecondsSince(delivery.times.back()));
        },
        isEnough);
    return delivery;
}

/// At once.
void pour(Dictating &dictating, const Samples &sound) {
    for (auto &buffer : inBuffers(sound))
        dictating.hear(std::move(buffer));
}

/// However busy the machine is: what is decoded takes processor time, though it may be long before a text
/// changes.
void waitUntilDecoded(Dictating &dictating) {
    constexpr double idle = 0.02; // seconds, in the second at least that it is waited for quiet
    double before = 0;
    do {
        before = timeOfBoth();
        dictating.waitForQuiet();
    } while (timeOfBoth() - before > idle);
}

/// Milliseconds from the start of the process to the end of an empty dictation.
Values loading(const Engine &engine, int runs) {
    Values times;
    for (int i = 0; i < runs; ++i) {
        const auto begin = Clock::now();
        const auto client = loadedClient(engine.model);
        times.push_back(millisecondsSince(begin));
    }
    return times;
}

double memory(const Engine &engine) {
    const auto client = loadedClient(engine.model);
    return memoryOf(recognizerProcess());
}

/// Milliseconds for each buffer.
Values handingOverWhileLoading(const Engine &engine, int runs) {
    Values all;
    for (int i = 0; i < runs; ++i) {
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({engine.model});
        Dictating dictating(client);
        const auto took = speak(dictating, speechOf(engine, 10), [&] {
                              return client.modelState() != RecognizerClient::ModelState::loading;
                          }).took;
        all.insert(all.end(), took.begin(), took.end());
        dictating.end();
    }
    return all;
}

struct Speaking {
    Values handingOver;   ///< milliseconds for each buffer
    double processorTime; ///< seconds for a minute
};

Speaking speaking(const Engine &engine, int seconds) {
    const auto client = loadedClient(engine.model);
    Dictating dictating(*client);
    const double before = timeOfBoth();
    const auto took = speak(dictating, speechOf(engine, seconds)).took;
    dictating.end();
    return {took, (timeOfBoth() - before) * 60 / seconds};
}

/// How long after its sound a text was there, in milliseconds.
struct Delays {
    Values all;
    Values greatest; ///< of each sentence
    int missing = 0; ///< texts that never were there
};

Delays interimDelays(const Engine &engine, int runs) {
    Delays delays;
    for (int run = 0; run < runs; ++run) {
        const auto client =
            loadedClient(engine.model); // which has heard no other sentence that it would be used to
        const auto sentence = engine.sentence(run);
        std::mutex mutex;
        std::vector<std::optional<Clock::time_point>> came(sentence.texts.size());
        Dictating dictating(*client, [&](const QString &text) {
            const std::lock_guard lock(mutex);
            for (size_t i = 0; i < came.size(); ++i) {
                if (!came[i] && text.startsWith(sentence.texts[i].text))
                    came[i] = Clock::now();
            }
        });
        const auto delivered = speak(dictating, sentence.sound).times;
        waitUntilDecoded(dictating); // the final text would be no interim one
        {
            const std::lock_guard lock(mutex);
            double greatest = 0;
            for (size_t i = 0; i < came.size(); ++i) {
                if (!came[i]) {
                    ++delays.missing;
                    continue;
                }
                const auto heard = delivered[(sentence.texts[i].end - 1) / bufferFrames];
                const double delay = std::chrono::duration<double, std::milli>(*came[i] - heard).count();
                delays.all.push_back(delay);
                greatest = std::max(greatest, delay);
            }
            delays.greatest.push_back(greatest);
        }
        dictating.end();
    }
    return delays;
}

/// Milliseconds to the final text, of a dictation whose last seconds are spoken; what comes before, in
/// minutes, has been decoded by then.
Values releases(const Engine &engine, int seconds, int minutes, int runs) {
    const auto client = loadedClient(engine.model);
    const auto minute = speechOf(engine, 60), spoken = speechOf(engine, seconds);
    Values times;
    for (int i = 0; i < runs; ++i) {
        Dictating dictating(*client);
        for (int before = 0; before < minutes; ++before) {
            pour(dictating, minute);
            waitUntilDecoded(dictating);
        }
        speak(dictating, spoken);
        const auto release = Clock::now();
        dictating.end();
        times.push_back(millisecondsSince(release));
    }
    return times;
}

/// Of a minute that is there at once.
Values realTimeFactors(const Engine &engine, int runs) {
    const auto client = loadedClient(engine.model);
    const auto minute = speechOf(engine, 60);
    Values factors;
    for (int i = 0; i < runs; ++i) {
        Dictating dictating(*client);
        const auto begin = Clock::now();
        pour(dictating, minute);
        dictating.end();
        factors.push_back(millisecondsSince(begin) / 60'000);
    }
    return factors;
}

// Printing.

QByteArray number(double value) {
    return QByteArray::number(value, value < 100 ? 'g' : 'f', value < 100 ? 3 : 0);
}

QByteArray cell(const Values &values) {
    if (values.empty())
        return "-";
    auto text = number(median(values));
    if (values.size() > 1)
        text += " (" + number(*std::max_element(values.begin(), values.end())) + ')';
    return text;
}

void print(const char *what, const Values &sphinx, const Values &heavy, std::optional<double> goal = {}) {
    const auto judged = goal && !heavy.empty() ? beside(*goal, median(heavy)) : QByteArray();
    std::printf("%-52s %18s %18s  %s\n", what, cell(sphinx).constData(), cell(heavy).constData(),
                judged.constData());
    std::fflush(stdout);
}

/// In one dictation, as fast as it can be decoded.
void printHour(const Engine &engine, int minutes) {
    const auto client = loadedClient(engine.model);
    const auto minute = speechOf(engine, 60);
    Dictating dictating(*client);
    Values memory, time;
    for (int i = 0; i < minutes; ++i) {
        const double before = timeOfBoth();
        pour(dictating, minute);
        waitUntilDecoded(dictating); // or the sound that is kept would be full some day
        time.push_back(timeOfBoth() - before);
        memory.push_back(memoryOf(recognizerProcess()));
    }
    const auto half = time.begin() + qsizetype(time.size() / 2);
    const double grown = memory.back() - memory.front();
    const double slower = 100 * (median({half, time.end()}) / median({time.begin(), half}) - 1);
    std::printf(
        "%d minutes: %.1f MiB more than after the first %s, a minute takes %+.1f %% in the second half %s\n",
        minutes, grown, beside(4, grown).constData(), slower, beside(10, slower).constData());
    dictating.end();
}

} // namespace

int main(int argc, char **argv) {
    const auto extent = argc > 1 && std::strcmp(argv[1], "quick") == 0 ? quick : everything;
    const auto sphinx = pocketSphinx(), large = heavy(test::ToneModels::heavyModel());
    std::printf("%-52s %18s %18s\n", "", "PocketSphinx", "42 M, int8");

    print("load, ms", loading(sphinx, extent.runs), loading(large, extent.runs), 400);
    print("memory with the model, MiB", {memory(sphinx)}, {memory(large)});
    print("a buffer is kept, while the model is loaded, ms", handingOverWhileLoading(sphinx, extent.runs),
          handingOverWhileLoading(large, extent.runs), 1);
    const auto sphinxSpeaking = speaking(sphinx, extent.spokenLength);
    const auto largeSpeaking = speaking(large, extent.spokenLength);
    print("a buffer is kept, while its sound is decoded, ms", sphinxSpeaking.handingOver,
          largeSpeaking.handingOver, 1);

    const auto sphinxDelays = interimDelays(sphinx, extent.runs),
               largeDelays = interimDelays(large, extent.runs);
    print("interim text after its sound, ms", sphinxDelays.all, largeDelays.all, chunk);
    print("  the latest of a sentence, ms", sphinxDelays.greatest, largeDelays.greatest, chunk);
    print("  texts that never came", {double(sphinxDelays.missing)}, {double(largeDelays.missing)}, 0);

    const auto longMinutes = extent.longMinutes;
    print("release to final text after 3 s, ms", releases(sphinx, 3, 0, extent.runs),
          releases(large, 3, 0, extent.runs), 60);
    print("  after a minute, ms", releases(sphinx, 3, 1, extent.longRuns),
          releases(large, 3, 1, extent.longRuns), 60);
    print(qPrintable(u"  after %1 minutes, ms"_s.arg(longMinutes)), releases(sphinx, 3, longMinutes, 1),
          releases(large, 3, longMinutes, extent.longRuns), 60);

    auto segments = heavy(test::ToneModels::heavyOfflineModel());
    segments.model.longestDecoding = recognizer::longestDecoding;
    print("  of whole segments, after 3 s", {}, releases(segments, 3, 0, extent.runs), 1500);
    segments.speech =
        ToneSpeech().say("thequickbrownfoxjumpsoverthelazydogthequickbrownfoxjumpsoverthelazydog");
    print("  of whole segments, after 15 s without a pause", {}, releases(segments, 15, 0, extent.longRuns),
          1500);

    print("real-time factor", realTimeFactors(sphinx, extent.longRuns),
          realTimeFactors(large, extent.longRuns));
    print("processor time for a minute of speech, s", {sphinxSpeaking.processorTime},
          {largeSpeaking.processorTime});
    printHour(large, extent.hour);
    return isEachGoalMet ? 0 : 1;
}
