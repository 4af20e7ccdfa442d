#include "platform/linux/translation/neural/Translator.h"

#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Network.h"
#include "platform/linux/translation/neural/Passages.h"
#include "platform/linux/translation/neural/Stopped.h"
#include "platform/linux/translation/neural/Vocabulary.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <future>
#include <iterator>
#include <numeric>
#include <thread>

namespace quillora::neural {

namespace {

// Sentences that are computed side by side share the reading of the weights. More of them gain little.
constexpr std::size_t mostSentences = 16;
constexpr std::size_t mostTokens = 256;

std::ifstream opened(const std::filesystem::path &path, const std::string &what) {
    if (path.empty())
        throw ModelError("It comes without a " + what + ".");
    std::ifstream file(path, std::ios::binary);
    if (file)
        return file;
    const int reason = errno;
    const std::string sentence =
        "The " + what + " cannot be opened: " + path.string() + ": " + std::strerror(reason) + ".";
    if (reason == ENOENT)
        throw ModelError(sentence);
    throw std::runtime_error(sentence); // whatever it is, the model may be all right
}

template <class Part, class... Arguments>
Part readFrom(const std::filesystem::path &path, const std::string &what, Arguments... arguments) {
    std::ifstream file = opened(path, what);
    return Part(file, arguments...);
}

/// In tokens. Twice the source is what models are made for; very short sentences get more, where a language
/// may need several tokens for one of another.
std::size_t longestTranslation(std::size_t sourceTokens) {
    return std::max(2 * sourceTokens, sourceTokens + 12);
}

/// The numbers of sentences that are computed together, longest first: together they also end.
std::vector<std::vector<std::size_t>> batchesOf(std::span<const Tokens> sources, std::size_t threads) {
    std::vector<std::size_t> order(sources.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::sort(order, std::ranges::greater(), [&](std::size_t i) { return sources[i].size(); });

    const std::size_t fairShare = (sources.size() + threads - 1) / threads;
    std::vector<std::vector<std::size_t>> batches;
    std::size_t tokens = 0;
    for (const std::size_t i : order) {
        const std::size_t most = std::min(mostSentences, fairShare);
        if (batches.empty() || batches.back().size() == most || tokens + sources[i].size() > mostTokens) {
            batches.emplace_back();
            tokens = 0;
        }
        batches.back().push_back(i);
        tokens += sources[i].size();
    }
    return batches;
}

/// A text of fewer tokens is not worth another thread.
constexpr std::size_t manyTokens = 100;

} // namespace

struct Translator::Parts {
    LanguagePair languages;
    std::size_t threads;
    std::shared_ptr<const Vocabulary> sourceVocabulary;
    std::shared_ptr<const Vocabulary> targetVocabulary;
    Network network;
    std::optional<Shortlist> shortlist;
    std::optional<GreedySearch> search;

    std::vector<std::string> translate(std::span<const std::string> texts, const std::stop_token &stop) const;
    std::vector<std::string> translate(std::span<const Tokens> sources, const std::stop_token &stop) const;
};

Translator::Translator(const Files &files, Languages languages)
    : Translator(files, std::move(languages), Options{}) {}

Translator::Translator(const Files &files, Languages languages, Options options) {
    // Vocabularies take as long to prepare as models do.
    const auto read = [](const std::filesystem::path &path) {
        return std::make_shared<const Vocabulary>(readFrom<Vocabulary>(path, "vocabulary"));
    };
    auto source = std::async(std::launch::async, read, files.sourceVocabulary);
    auto network =
        readFrom<Network>(files.model, "model", options.inFloats ? Arithmetic::Floats : Arithmetic::AsStored);

    auto parts =
        std::make_unique<Parts>(LanguagePair{std::move(languages.source), std::move(languages.target)},
                                std::max(1U, options.threads), source.get(), nullptr, std::move(network));
    parts->targetVocabulary = files.targetVocabulary == files.sourceVocabulary ? parts->sourceVocabulary
                                                                               : read(files.targetVocabulary);
    const ModelConfiguration &configuration = parts->network.configuration();
    if (parts->sourceVocabulary->size() != configuration.sourceVocabulary ||
        parts->targetVocabulary->size() != configuration.targetVocabulary)
        throw ModelError("The vocabulary does not belong to the model: they differ in size.");
    if (!files.shortlist.empty())
        parts->shortlist = readFrom<Shortlist>(
            files.shortlist, "shortlist", configuration.sourceVocabulary, configuration.targetVocabulary,
            configuration.sharedEmbeddings ? Shortlist::Vocabularies::Shared
                                           : Shortlist::Vocabularies::Separate);
    parts->search.emplace(parts->network, parts->shortlist ? &*parts->shortlist : nullptr,
                          options.kernels != nullptr ? *options.kernels : fastestKernels(),
                          GreedySearch::Setting{parts->targetVocabulary->end(),
                                                parts->targetVocabulary->unknown(), longestTranslation});
    m_parts = std::move(parts);
}

Translator::~Translator() {
    if (!m_parts)
        return;
    m_parts.reset();
    // The vocabularies' many small pieces would stay with the heap.
    malloc_trim(0);
}

Translator::Translator(Translator &&) noexcept = default;
Translator &Translator::operator=(Translator &&) noexcept = default;

std::optional<std::string> Translator::translate(std::string_view text, const std::stop_token &stop) const {
    try {
        const Passages passages(text, m_parts->languages, *m_parts->sourceVocabulary, stop);
        return passages.joined(m_parts->translate(passages.sources(), stop));
    } catch (const Stopped &) {
        return std::nullopt;
    }
}

std::optional<std::string> Translator::translate(std::string_view text, const Translator &onward,
                                                 const std::stop_token &stop) const {
    const Parts &second = *onward.m_parts;
    try {
        const Passages passages(text, {m_parts->languages.source, second.languages.target},
                                *m_parts->sourceVocabulary, stop);
        std::span<const Tokens> sources = passages.sources();
        std::vector<std::string> translations;
        std::future<std::vector<std::string>> underWay;
        const auto collect = [&] {
            if (underWay.valid())
                std::ranges::move(underWay.get(), std::back_inserter(translations));
        };
        // The first ones are few, so that the second half begins early.
        for (std::size_t size = 1; !sources.empty(); size = std::min(2 * size, mostSentences)) {
            const auto next = sources.first(std::min(size, sources.size()));
            auto between = m_parts->translate(next, stop);
            collect();
            underWay = std::async(std::launch::async, [&second, &stop, between = std::move(between)] {
                return second.translate(between, stop);
            });
            sources = sources.subspan(next.size());
        }
        collect();
        return passages.joined(translations);
    } catch (const Stopped &) {
        return std::nullopt;
    }
}

/// The sentences of all of them side by side.
std::vector<std::string> Translator::Parts::translate(std::span<const std::string> texts,
                                                      const std::stop_token &stop) const {
    std::vector<Passages> passages;
    std::vector<Tokens> sources;
    for (const std::string &text : texts) {
        const auto &added = passages.emplace_back(text, languages, *sourceVocabulary, stop);
        std::ranges::copy(added.sources(), std::back_inserter(sources));
    }
    const std::vector<std::string> all = translate(sources, stop);
    std::span<const std::string> rest = all;
    std::vector<std::string> translations;
    for (const Passages &each : passages) {
        translations.push_back(each.joined(rest.first(each.sources().size())));
        rest = rest.subspan(each.sources().size());
    }
    return translations;
}

std::vector<std::string> Translator::Parts::translate(std::span<const Tokens> sources,
                                                      const std::stop_token &stop) const {
    const std::size_t tokens =
        std::accumulate(sources.begin(), sources.end(), std::size_t(0),
                        [](std::size_t sum, const Tokens &source) { return sum + source.size(); });
    const auto batches = batchesOf(sources, tokens < manyTokens ? 1 : threads);

    std::vector<std::string> translations(sources.size());
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t number = next++; number < batches.size(); number = next++) {
            const std::vector<std::size_t> &batch = batches[number];
            std::vector<Tokens> batchSources;
            batchSources.reserve(batch.size());
            for (const std::size_t i : batch)
                batchSources.push_back(sources[i]);
            const std::vector<Tokens> results = search->translate(batchSources, stop);
            for (std::size_t i = 0; i < batch.size(); ++i)
                translations[batch[i]] = targetVocabulary->decode(results[i]);
        }
    };
    std::vector<std::future<void>> others; // each waits for its end when it goes
    for (std::size_t i = 1; i < std::min(threads, batches.size()); ++i)
        others.push_back(std::async(std::launch::async, work));
    work();
    for (std::future<void> &other : others)
        other.get();
    return translations;
}

} // namespace quillora::neural
