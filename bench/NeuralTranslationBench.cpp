// Neural translation in the shapes of published models, with random weights:
//   NeuralTranslationBench [SHAPE...]
// If ENGINE names the folder "worker" of the npm package @browsermt/bergamot-translator, the same is given to
// that reference implementation, run under node with one thread, right after, and the last columns are how
// many times faster, or smaller, this is.
#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/Translator.h"
#include "platform/linux/translation/neural/Vocabulary.h"
#include "support/ResidentMemory.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <malloc.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <thread>

using namespace quillora::neural;
using namespace quillora::test;

namespace {

constexpr double mebi = 1 << 20;

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

enum class Time { OfTheProcessor, OnTheWall };

double milliseconds(Time kind) {
    timespec now{};
    clock_gettime(kind == Time::OnTheWall ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

/// The shortest of several runs: other work on the machine only adds to it. Time of the processor leaves out
/// when others had it.
double shortest(int runs, const std::function<void()> &work, Time kind = Time::OfTheProcessor) {
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        const double begin = milliseconds(kind);
        work();
        best = std::min(best, milliseconds(kind) - begin);
    }
    return best;
}

/// How fast this core reads `size` bytes again and again, in bytes a millisecond.
double bandwidth(std::size_t size) {
    using Lanes = std::int32_t __attribute__((vector_size(64)));
    PageMemory memory(size + 256);
    const std::span<Lanes> values = memory.take<Lanes>(size / sizeof(Lanes));
    for (Lanes &value : values)
        value = Lanes{} + 1;
    volatile std::int32_t sink = 0;
    const double time = shortest(50, [&] {
        Lanes sums[4]{};
        for (std::size_t i = 0; i + 4 <= values.size(); i += 4)
            for (std::size_t j = 0; j < 4; ++j)
                sums[j] += values[i + j];
        sink = sink + (sums[0] + sums[1] + sums[2] + sums[3])[0];
    });
    return double(size) / time;
}

struct ReferenceRun {
    double milliseconds = 0;
    double loading = 0; ///< in milliseconds
    double mebibytes = 0;
};

/// Nothing without ENGINE.
ReferenceRun reference(const std::filesystem::path &folder, const std::string &text, int runs,
                       bool asOneText) {
    if (std::getenv("ENGINE") == nullptr)
        return {};
    writeFile(folder / "text", text);
    const std::string command = std::string(asOneText ? "JOIN=1 " : "") + "LONGEST=256 node " +
                                REFERENCE_SCRIPT + " " + folder.string() + " int8shiftAlphaAll " +
                                std::to_string(runs) + " < " + (folder / "text").string() + " > " +
                                (folder / "out").string() + " 2> " + (folder / "err").string();
    ReferenceRun run;
    if (std::system(command.c_str()) != 0)
        return run;
    std::string line;
    std::ifstream out(folder / "out");
    while (std::getline(out, line))
        run.milliseconds += std::stod(line.substr(line.rfind('\t') + 1));
    std::ifstream err(folder / "err");
    while (std::getline(err, line)) {
        if (line.ends_with(" MB"))
            run.mebibytes = std::stod(line);
        else if (line.ends_with(" ms"))
            run.loading = std::stod(line);
    }
    return run;
}

std::string times(double theirs, double ours) {
    char text[32];
    std::snprintf(text, sizeof text, "%8.1f %6.1f x", theirs, theirs / ours);
    return theirs > 0 ? text : "";
}

/// How long the latest of twenty stops took, in milliseconds.
double latestStop(const Translator::Files &files, const Kernels &kernels, const std::string &text) {
    double latest = 0;
    const Translator translator(files, {"de", "en"}, {.kernels = &kernels});
    for (int i = 0; i < 20; ++i) {
        std::stop_source stop;
        Clock::time_point stopped;
        std::jthread stopper([&, i] {
            // From the text's being taken apart to the midst of it.
            std::this_thread::sleep_for(std::chrono::milliseconds(1 + 7 * i));
            stopped = Clock::now();
            stop.request_stop();
        });
        const bool wasStopped = !translator.translate(text, stop.get_token());
        const double late = millisecondsSince(stopped);
        stopper.join();
        latest = wasStopped ? std::max(latest, late) : latest;
    }
    return latest;
}

void measure(const RandomModel &model, const std::filesystem::path &folder) {
    writeFile(folder / "model.bin", model.modelFile());
    writeFile(folder / "source.spm", model.sourceVocabularyFile());
    writeFile(folder / "target.spm", model.targetVocabularyFile());
    writeFile(folder / "shortlist.bin", model.shortlistFile());
    const Translator::Files files{folder / "model.bin", folder / "source.spm", folder / "source.spm",
                                  folder / "shortlist.bin"};
    std::printf("\n%s: %zu wide, %zu + %zu layers\n", std::string(model.name).c_str(), model.shape.dimension,
                model.shape.encoderDepth, model.shape.decoderDepth);

    malloc_trim(0);
    const double before = double(residentBytes()) / mebi;
    RandomNumbers random(1);
    const std::string sentence = model.sentences(1, 22, 22, random)[0];
    const ReferenceRun once = reference(folder, sentence, 1, false);
    {
        const Translator translator(files, {"de", "en"});
        translator.translate(sentence);
        const double added = double(residentBytes()) / mebi - before;
        std::printf("  memory            %8.1f MB       %s\n", added, times(once.mebibytes, added).c_str());
    }
    std::printf("  given back to     %8.1f MB\n", double(residentBytes()) / mebi - before);
    const double loading = shortest(7, [&] { Translator(files, {"de", "en"}); }, Time::OnTheWall);
    std::printf("  load              %8.1f ms       %s\n", loading, times(once.loading, loading).c_str());

    std::ifstream modelFile(files.model, std::ios::binary);
    std::ifstream vocabularyFile(files.sourceVocabulary, std::ios::binary);
    std::ifstream shortlistFile(files.shortlist, std::ios::binary);
    const Network network(modelFile);
    const Vocabulary vocabulary(vocabularyFile);
    const Shortlist shortlist(shortlistFile, 32000, 32000, Shortlist::Vocabularies::Shared);
    const auto twice = [](std::size_t tokens) { return 2 * tokens; };
    const auto tokensOf = [&](const std::string &text) {
        Tokens tokens = vocabulary.encode(text);
        tokens.push_back(vocabulary.end());
        return std::vector<Tokens>{tokens};
    };

    const std::vector<Tokens> source = tokensOf(sentence);
    const std::size_t candidates = shortlist.candidates(source[0]).size();
    std::printf("  a sentence of %zu tokens into %zu, %zu candidates\n", source[0].size(),
                2 * source[0].size(), candidates);
    const double theirs = reference(folder, sentence, 15, false).milliseconds;
    for (const Kernels *kernels : availableKernels()) {
        const GreedySearch search(network, &shortlist, *kernels, {0, 1, twice});
        const double ours =
            shortest(kernels == availableKernels().front() ? 2 : 25, [&] { search.translate(source, {}); });
        std::printf("    %-16s%8.2f ms       %s\n", kernels->name, ours, times(theirs, ours).c_str());
    }

    const GreedySearch search(network, &shortlist, fastestKernels(), {0, 1, twice});
    const std::size_t step = network.sizeOfStep() + candidates * model.shape.dimension;
    const auto oneToken = [](std::size_t) -> std::size_t { return 1; };
    for (const Kernels *kernels : availableKernels().subspan(1)) {
        const GreedySearch all(network, &shortlist, *kernels, {0, 1, twice});
        const GreedySearch first(network, &shortlist, *kernels, {0, 1, oneToken});
        const double whole = shortest(25, [&] { all.translate(source, {}); });
        const double begin = shortest(25, [&] { first.translate(source, {}); });
        const double speed = bandwidth(step);
        std::printf(
            "    a step, %-12s %5.1f us; its %.2f MB take %5.1f us to read at %.1f GB/s; encoder %.2f ms\n",
            kernels->name, (whole - begin) / double(2 * source[0].size() - 1) * 1000, double(step) / mebi,
            double(step) / speed * 1000, speed / 1e6, begin);
    }

    std::printf("  sentences of other lengths\n");
    for (const std::size_t length : std::initializer_list<std::size_t>{1, 2, 5, 10, 20, 50, 100, 200}) {
        const std::string other = model.sentences(1, length - 1, length - 1, random)[0];
        const std::vector<Tokens> tokens = tokensOf(other);
        const double ours = shortest(10, [&] { search.translate(tokens, {}); });
        std::printf("    %3zu tokens      %8.2f ms       %s\n", tokens[0].size(), ours,
                    times(reference(folder, other, 10, false).milliseconds, ours).c_str());
    }

    std::string text;
    for (const std::string &line : model.sentences(50, 20, 20, random))
        text += line + "\n";
    const double theirText = reference(folder, text, 2, true).milliseconds;
    for (const unsigned threads : {1U, 2U}) {
        const Translator translator(files, {"de", "en"}, {.threads = threads});
        const double ours = shortest(
            4, [&] { translator.translate(text); }, threads == 1 ? Time::OfTheProcessor : Time::OnTheWall);
        std::printf("  1000 words, %u threads %5.0f ms, %6.0f words/s  %s\n", threads, ours,
                    1000 / ours * 1000, times(theirText, ours).c_str());
    }

    std::string withoutMarks = text + text + text;
    std::ranges::replace(withoutMarks, '\n', ' ');
    const Kernels *slowest = availableKernels().subspan(1).front();
    for (const Kernels *kernels : {&fastestKernels(), slowest}) {
        std::printf("  stopped within    %8.2f ms, in a text without marks %.2f ms (%s)\n",
                    latestStop(files, *kernels, text + text + text),
                    latestStop(files, *kernels, withoutMarks), kernels->name);
    }
}

} // namespace

int main(int argc, char **argv) {
    std::string folder = (std::filesystem::temp_directory_path() / "neural-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        return 1;
    for (const RandomModel &model : measuredModels()) {
        bool isWanted = argc == 1;
        for (int i = 1; i < argc; ++i)
            isWanted = isWanted || model.name == argv[i];
        if (isWanted)
            measure(model, folder);
    }
    std::filesystem::remove_all(folder);
}
