#include "recognizer/sherpa/SherpaEngine.h"

#include "recognizer/sherpa/SherpaLibrary.h"
#include "recognizer/sherpa/SherpaOfflineDecoder.h"
#include "recognizer/sherpa/SherpaStreamingDecoder.h"
#include "recognizer/sherpa/Zeroed.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <thread>

namespace quillora::recognizer {

namespace {

const std::string &parameter(const Open &model, std::string_view name) {
    static const std::string none;
    const auto found = std::find_if(model.parameters.begin(), model.parameters.end(),
                                    [&](const auto &one) { return one.name == name; });
    return found != model.parameters.end() ? found->value : none;
}

/// The files of a model as its family has them, and the last of them, the tokens.
const char *file(const Open &model, std::size_t index) { return model.files[index].c_str(); }
const char *tokens(const Open &model) { return model.files.back().c_str(); }

void requireFiles(const Open &model, std::size_t count) {
    if (model.files.size() != count)
        throw LoadFailure{Refusal::incompatible};
    for (const auto &one : model.files) {
        if (std::error_code error; !std::filesystem::is_regular_file(one, error))
            throw LoadFailure{Refusal::missing};
    }
}

constexpr auto processor = "cpu";
constexpr auto search = "greedy_search";
constexpr int featureDimension = 80;

std::unique_ptr<Decoder> loadStreaming(const SherpaLibrary &library, const Open &model) {
    sherpa::Zeroed<sherpa::OnlineConfiguration> configuration;
    const auto &family = parameter(model, "family");
    if (family == "zipformer-transducer" || family == "nemo-transducer") {
        requireFiles(model, 4);
        configuration->transducer = {file(model, 0), file(model, 1), file(model, 2)};
    } else if (family == "zipformer-ctc") {
        requireFiles(model, 2);
        configuration->zipformerCtc = file(model, 0);
    } else if (family == "nemo-ctc") {
        requireFiles(model, 2);
        configuration->nemoCtc = file(model, 0);
    } else {
        throw LoadFailure{Refusal::incompatible};
    }
    configuration->sampleRate = sampleRate;
    configuration->featureDimension = featureDimension;
    configuration->tokens = tokens(model);
    // A second thread waits in a loop after each step, which costs twice the time and gains nothing.
    configuration->threads = 1;
    configuration->provider = processor;
    configuration->decodingMethod = search;
    return std::make_unique<SherpaStreamingDecoder>(library, *configuration, parameter(model, "language"));
}

void name(sherpa::OfflineConfiguration &configuration, const Open &model) {
    const auto &family = parameter(model, "family");
    const char *language = parameter(model, "language").c_str();
    if (family == "zipformer-transducer" || family == "nemo-transducer") {
        requireFiles(model, 4);
        configuration.transducer = {file(model, 0), file(model, 1), file(model, 2)};
        configuration.modelType = family == "nemo-transducer" ? "nemo_transducer" : "transducer";
    } else if (family == "whisper") {
        requireFiles(model, 3);
        configuration.whisper.encoder = file(model, 0);
        configuration.whisper.decoder = file(model, 1);
        configuration.whisper.language = language;
        configuration.whisper.task = "transcribe";
    } else if (family == "canary") {
        requireFiles(model, 3);
        configuration.canary = {file(model, 0), file(model, 1), language, language, 1};
    } else {
        requireFiles(model, 2);
        if (family == "nemo-ctc")
            configuration.nemoCtc = file(model, 0);
        else if (family == "zipformer-ctc")
            configuration.zipformerCtc = file(model, 0);
        else if (family == "omnilingual-ctc")
            configuration.omnilingualCtc = file(model, 0);
        else if (family == "dolphin-ctc")
            configuration.dolphinCtc = file(model, 0);
        else if (family == "sense-voice")
            configuration.senseVoice = {file(model, 0), language, 1};
        else
            throw LoadFailure{Refusal::incompatible};
    }
}

/// None where the model is given without one.
std::unique_ptr<SherpaSpeechDetector> loadDetector(const SherpaLibrary &library, const Open &model) {
    const auto &file = parameter(model, "detector");
    return file.empty() ? nullptr : std::make_unique<SherpaSpeechDetector>(library, file);
}

std::unique_ptr<Decoder> loadOffline(const SherpaLibrary &library, const Open &model,
                                     DecodingPace::Clock clock) {
    sherpa::Zeroed<sherpa::OfflineConfiguration> configuration;
    name(*configuration, model);
    configuration->sampleRate = sampleRate;
    configuration->featureDimension = featureDimension;
    configuration->tokens = tokens(model);
    // Half of the processors, since whoever dictates uses the computer too.
    constexpr int mostThreads = 4;
    configuration->threads =
        std::clamp(static_cast<int>(std::thread::hardware_concurrency()) / 2, 1, mostThreads);
    configuration->provider = processor;
    configuration->decodingMethod = search;
    // Whisper hears nothing of what comes after 30 seconds.
    constexpr auto second = static_cast<std::size_t>(sampleRate);
    return std::make_unique<SherpaOfflineDecoder>(
        library, *configuration, parameter(model, "family") == "whisper" ? 28 * second : 60 * second,
        loadDetector(library, model), std::move(clock));
}

std::unique_ptr<Decoder> loadDecoder(const SherpaLibrary &library, Open model,
                                     const DecodingPace::Clock &clock) {
    std::erase(model.files, parameter(model, "detector"));
    const auto &decoding = parameter(model, "decoding");
    if (decoding == "streaming")
        return loadStreaming(library, model);
    if (decoding == "offline")
        return loadOffline(library, model, clock);
    throw LoadFailure{Refusal::incompatible};
}

} // namespace

std::vector<std::string> SherpaEngine::ownFiles() const { return SherpaLibrary::files(m_folder); }

std::unique_ptr<Decoder> SherpaEngine::load(const Open &model) const {
    const SherpaLibrary library(m_folder);
    try {
        return loadDecoder(library, model, m_clock);
    } catch (const std::bad_alloc &) {
        throw;
    } catch (const std::exception &) {
        // What the library throws where it cannot read a model.
        throw LoadFailure{Refusal::damaged};
    }
}

} // namespace quillora::recognizer
