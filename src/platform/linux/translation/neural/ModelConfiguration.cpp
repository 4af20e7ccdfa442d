#include "platform/linux/translation/neural/ModelConfiguration.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/kernels/Kernels.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <vector>

namespace quillora::neural {

namespace {

/// A key that must have one value, because only what that value stands for is computed.
struct Fixed {
    std::string_view key;
    std::string_view value;
};

constexpr Fixed required[] = {
    {"type", "transformer"},
    {"transformer-decoder-autoreg", "rnn"},
    {"dec-cell", "ssru"},
    {"transformer-ffn-depth", "2"},
    {"transformer-ffn-activation", "relu"},
    {"transformer-preprocess", ""},
    {"transformer-postprocess", "dan"},
    {"transformer-postprocess-emb", "d"},
};

constexpr Fixed fixedWhenThere[] = {
    {"transformer-postprocess-top", ""},
    {"transformer-decoder-dim-ffn", "0"},
    {"transformer-decoder-ffn-depth", "0"},
    {"transformer-no-projection", "false"},
    {"transformer-rnn-projection", "false"},
    {"transformer-depth-scaling", "false"},
    {"transformer-pool", "false"},
    {"transformer-train-position-embeddings", "false"},
    {"transformer-tied-layers", ""},
    {"tied-embeddings-src", "false"},
    {"output-omit-bias", "false"},
    {"right-left", "false"},
    {"skip", "false"},
    {"layer-normalization", "false"},
    {"input-types", ""},
    {"lemma-dim-emb", "0"},
    {"lemma-dependency", ""},
    {"factors-dim-emb", "0"},
    {"ulr", "false"},
};

// Of other kinds of model, or of training.
constexpr std::string_view withoutInfluence[] = {
    "version",
    "bert-mask-symbol",
    "bert-sep-symbol",
    "bert-class-symbol",
    "bert-masking-fraction",
    "bert-train-type-embeddings",
    "bert-type-vocab-size",
    "dec-cell-base-depth",
    "dec-cell-high-depth",
    "dim-rnn",
    "enc-cell",
    "enc-cell-depth",
    "enc-type",
    "factors-combine",
    "transformer-aan-activation",
    "transformer-aan-depth",
    "transformer-aan-nogate",
    "transformer-dim-aan",
    "transformer-guided-alignment-layer",
    "ulr-dim-emb",
    "ulr-dropout",
    "ulr-keys-vectors",
    "ulr-query-vectors",
    "ulr-softmax-temperature",
    "ulr-trainable-transformation",
};

constexpr std::string_view readKeys[] = {
    "dim-emb",   "transformer-dim-ffn", "transformer-heads", "enc-depth",
    "dec-depth", "dim-vocabs",          "tied-embeddings",   "tied-embeddings-all",
};

constexpr std::size_t largestDimension = 8192;
constexpr std::size_t mostHeads = 64;
constexpr std::size_t deepest = 64;
constexpr std::size_t largestVocabulary = 1 << 20;

using Values = std::vector<std::string>;
using Entries = std::map<std::string, Values, std::less<>>;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view around = " \t\r\"'";
    const std::size_t begin = text.find_first_not_of(around);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(around) - begin + 1);
}

void appendItems(Values &values, std::string_view list) {
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        if (const std::string_view item = trimmed(list.substr(0, comma)); !item.empty())
            values.emplace_back(item);
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
}

/// As much of YAML as models use: `key: value`, and lists as `[a, b]` or as lines that begin with a dash.
Entries parsed(std::string_view yaml) {
    Entries entries;
    Values *current = nullptr;
    while (!yaml.empty()) {
        const std::size_t end = std::min(yaml.find('\n'), yaml.size());
        const std::string_view line = yaml.substr(0, end);
        yaml.remove_prefix(std::min(end + 1, yaml.size()));
        std::string_view value = trimmed(line);
        if (value.empty() || value.starts_with('#'))
            continue;
        const bool belongsToKeyBefore = line.starts_with(' ') || line.starts_with('-');
        if (!belongsToKeyBefore) {
            const std::size_t colon = line.find(':');
            if (colon == std::string_view::npos)
                throw ModelError("The model's configuration has a line that is none: \"" + std::string(line) +
                                 "\".");
            const auto [entry, isNew] = entries.try_emplace(std::string(trimmed(line.substr(0, colon))));
            if (!isNew)
                throw ModelError("The model's configuration has \"" + entry->first + "\" twice.");
            current = &entry->second;
            value = trimmed(line.substr(colon + 1));
        }
        if (current == nullptr)
            throw ModelError("The model's configuration begins with a list that belongs to nothing.");
        if (value.starts_with('[') && value.ends_with(']'))
            appendItems(*current, value.substr(1, value.size() - 2));
        else if (value.starts_with("- "))
            current->emplace_back(trimmed(value.substr(2)));
        else if (!value.empty())
            current->emplace_back(value);
    }
    return entries;
}

std::string shown(const Values &values) {
    std::string text;
    for (const std::string &value : values)
        text += (text.empty() ? "" : ", ") + value;
    return text;
}

const Values &valuesOf(const Entries &entries, std::string_view key) {
    const auto found = entries.find(key);
    if (found == entries.end())
        throw ModelError("The model's configuration lacks \"" + std::string(key) + "\".");
    return found->second;
}

[[noreturn]] void unsupported(std::string_view key, const Values &values) {
    throw ModelError("The model has \"" + std::string(key) + ": " + shown(values) +
                     "\", which is not supported.");
}

std::size_t number(std::string_view key, const std::string &text, std::size_t largest) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0 || value > largest)
        unsupported(key, {text});
    return value;
}

std::size_t number(const Entries &entries, std::string_view key, std::size_t largest) {
    const Values &values = valuesOf(entries, key);
    if (values.size() != 1)
        unsupported(key, values);
    return number(key, values[0], largest);
}

bool flag(const Entries &entries, std::string_view key) {
    const Values &values = valuesOf(entries, key);
    if (values != Values{"true"} && values != Values{"false"})
        unsupported(key, values);
    return values[0] == "true";
}

void refuseUnknown(const Entries &entries) {
    const auto isIn = [](const auto &list, const std::string &key) {
        return std::ranges::find(list, key) != std::ranges::end(list);
    };
    for (const auto &[key, values] : entries) {
        const auto byKey = [&key](const Fixed &fixed) { return fixed.key == key; };
        if (!isIn(readKeys, key) && !isIn(withoutInfluence, key) && std::ranges::none_of(required, byKey) &&
            std::ranges::none_of(fixedWhenThere, byKey))
            throw ModelError("The model's configuration has \"" + key + "\", which is not known.");
    }
}

} // namespace

ModelConfiguration ModelConfiguration::parse(std::string_view yaml) {
    const Entries entries = parsed(yaml);
    refuseUnknown(entries);
    for (const Fixed &fixed : required) {
        if (const Values &values = valuesOf(entries, fixed.key); shown(values) != fixed.value)
            unsupported(fixed.key, values);
    }
    for (const Fixed &fixed : fixedWhenThere) {
        if (const auto found = entries.find(fixed.key);
            found != entries.end() && shown(found->second) != fixed.value)
            unsupported(fixed.key, found->second);
    }

    ModelConfiguration configuration;
    configuration.dimension = number(entries, "dim-emb", largestDimension);
    configuration.innerDimension = number(entries, "transformer-dim-ffn", largestDimension);
    configuration.heads = number(entries, "transformer-heads", mostHeads);
    configuration.encoderDepth = number(entries, "enc-depth", deepest);
    configuration.decoderDepth = number(entries, "dec-depth", deepest);
    const Values &vocabularies = valuesOf(entries, "dim-vocabs");
    if (vocabularies.size() != 2)
        unsupported("dim-vocabs", vocabularies);
    configuration.sourceVocabulary = number("dim-vocabs", vocabularies[0], largestVocabulary);
    configuration.targetVocabulary = number("dim-vocabs", vocabularies[1], largestVocabulary);
    configuration.sharedEmbeddings = flag(entries, "tied-embeddings-all");

    if (!configuration.sharedEmbeddings && !flag(entries, "tied-embeddings"))
        unsupported("tied-embeddings", {"false"});
    if (configuration.sharedEmbeddings && configuration.sourceVocabulary != configuration.targetVocabulary)
        unsupported("dim-vocabs", vocabularies);
    if (configuration.dimension % inputStep != 0)
        unsupported("dim-emb", valuesOf(entries, "dim-emb"));
    if (configuration.innerDimension % inputStep != 0)
        unsupported("transformer-dim-ffn", valuesOf(entries, "transformer-dim-ffn"));
    if (configuration.dimension % configuration.heads != 0)
        unsupported("transformer-heads", valuesOf(entries, "transformer-heads"));
    return configuration;
}

} // namespace quillora::neural
