#pragma once

#include <cstddef>
#include <cstdint>

/// What is used of the C interface of sherpa-onnx 1.13.8, which comes without a header. These layouts are
/// that version's alone: a field that stands elsewhere in another one would be read as something else.
namespace quillora::recognizer::sherpa {

using Text = const char *;

struct OnlineRecognizer;
struct OnlineStream;
struct OfflineRecognizer;
struct OfflineStream;
struct SpeechDetector;

/// What a field means is what its name says in the library's documentation; zero and null stand for its
/// default.
struct OnlineConfiguration { // NOLINT(clang-analyzer-optin.performance.Padding): the order is the library's
    std::int32_t sampleRate, featureDimension;
    struct {
        Text encoder, decoder, joiner;
    } transducer;
    Text paraformer[2];
    Text zipformerCtc;
    Text tokens;
    std::int32_t threads;
    Text provider;
    std::int32_t debug;
    Text modelType, modelingUnit, bpeVocabulary;
    Text tokensBuffer;
    std::int32_t tokensBufferSize;
    Text nemoCtc, toneCtc;
    Text decodingMethod;
    std::int32_t activePaths, findsEndpoints;
    float endpointRules[3];
    Text hotwordsFile;
    float hotwordsScore;
    Text graph;
    std::int32_t graphActive;
    Text ruleTransducers, ruleArchives;
    float blankPenalty;
    Text hotwordsBuffer;
    std::int32_t hotwordsBufferSize;
    Text homophones[3];
};
static_assert(sizeof(OnlineConfiguration) == 272);
static_assert(offsetof(OnlineConfiguration, tokens) == 56);
static_assert(offsetof(OnlineConfiguration, nemoCtc) == 128);
static_assert(offsetof(OnlineConfiguration, decodingMethod) == 144);

struct OfflineConfiguration {
    std::int32_t sampleRate, featureDimension;
    struct {
        Text encoder, decoder, joiner;
    } transducer;
    Text paraformer, nemoCtc;
    struct {
        Text encoder, decoder, language, task;
        std::int32_t tailPaddings, tokenTimes, segmentTimes;
    } whisper;
    Text tdnn;
    Text tokens;
    std::int32_t threads, debug;
    Text provider, modelType, modelingUnit, bpeVocabulary, telespeechCtc;
    struct {
        Text model, language;
        std::int32_t writesNumbers;
    } senseVoice;
    Text moonshine[5];
    Text fireRed[2];
    Text dolphinCtc, zipformerCtc;
    struct {
        Text encoder, decoder, sourceLanguage, targetLanguage;
        std::int32_t punctuates;
    } canary;
    Text wenetCtc, omnilingualCtc, medicalCtc;
    std::byte funNano[88];
    Text fireRedCtc;
    std::byte qwen[64];
    std::byte cohere[32];
    Text languageModel;
    float languageModelScale;
    Text decodingMethod;
    std::int32_t activePaths;
    Text hotwordsFile;
    float hotwordsScore;
    Text ruleTransducers, ruleArchives;
    float blankPenalty;
    Text homophones[3];
};
static_assert(sizeof(OfflineConfiguration) == 608);
static_assert(offsetof(OfflineConfiguration, whisper) == 48);
static_assert(offsetof(OfflineConfiguration, tokens) == 104);
static_assert(offsetof(OfflineConfiguration, senseVoice) == 160);
static_assert(offsetof(OfflineConfiguration, canary) == 256);
static_assert(offsetof(OfflineConfiguration, omnilingualCtc) == 304);
static_assert(offsetof(OfflineConfiguration, languageModel) == 512);
static_assert(offsetof(OfflineConfiguration, decodingMethod) == 528);

/// Of which of its two kinds only this one is used; the other one's fields stay zero behind these.
struct SpeechDetectorConfiguration {
    struct {
        Text model;
        float threshold, shortestPause, shortestSpeech; ///< lengths in seconds
        std::int32_t window;
        float longestSpeech;
    } silero;
    std::int32_t sampleRate, threads;
    Text provider;
    std::int32_t debug;
};
static_assert(offsetof(SpeechDetectorConfiguration, silero.window) == 20);
static_assert(offsetof(SpeechDetectorConfiguration, sampleRate) == 32);
static_assert(offsetof(SpeechDetectorConfiguration, provider) == 40);

/// The beginning of a result of either kind.
struct Result {
    Text text;
};

} // namespace quillora::recognizer::sherpa
