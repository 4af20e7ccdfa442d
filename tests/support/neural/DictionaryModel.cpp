#include "support/neural/DictionaryModel.h"

#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

// Half of a position's signal turns fast and says where a word stands; the slowest quarter hardly moves, so
// it is free to carry a code of +1 and -1 that says which word it is.
//   encoder, feed-forward:  a hidden unit for each word fires on that word's code and adds the code of its
//                           translation, much stronger
//   decoder, attention:     query and key read the fast positions, so that step t looks at source word t; the
//   value
//                           copies the code
//   output:                 the embeddings once more, so that the word with that code is rated highest
// Everything else is zero, and normalisations let codes pass.

namespace quillora::test {

namespace {

constexpr std::size_t dimension = 128;
constexpr std::size_t heads = 8;
constexpr std::size_t half = dimension / 2;
constexpr std::size_t headWidth = dimension / heads;

/// Where in a row the code lies: the slow quarter of the sines, and that of the cosines.
std::vector<std::size_t> codePlaces() {
    std::vector<std::size_t> places;
    for (std::size_t i = 3 * half / 4; i < half; ++i)
        places.push_back(i);
    for (std::size_t i = 3 * half / 4; i < half; ++i)
        places.push_back(half + i);
    return places;
}

using Code = std::vector<int>;

struct Codes {
    std::vector<Code> ofWords;
    int worstClash = 8; ///< the largest product of two of them
};

/// Codes that are as different as can be had; each half of each adds up to zero.
Codes codes(std::size_t count, std::size_t length) {
    RandomNumbers random(1);
    const auto shuffled = [&random](std::size_t size) {
        Code code;
        for (std::size_t i = 0; i < size; ++i)
            code.push_back(i % 2 == 0 ? 1 : -1);
        for (std::size_t i = size; i > 1; --i)
            std::swap(code[i - 1], code[random.below(i)]);
        return code;
    };
    Codes codes;
    for (int tries = 0; codes.ofWords.size() < count; ++tries) {
        if (tries == 4000) {
            codes.worstClash += 2;
            tries = 0;
        }
        Code code = shuffled(length / 2);
        const Code second = shuffled(length / 2);
        code.insert(code.end(), second.begin(), second.end());
        const auto clashes = [&](const Code &other) {
            int product = 0;
            for (std::size_t i = 0; i < length; ++i)
                product += code[i] * other[i];
            return std::abs(product) > codes.worstClash;
        };
        if (std::ranges::none_of(codes.ofWords, clashes)) {
            codes.ofWords.push_back(code);
            tries = 0;
        }
    }
    return codes;
}

struct Values {
    std::size_t rows;
    std::size_t columns;
    std::vector<float> values = std::vector<float>(rows * columns);

    float &at(std::size_t row, std::size_t column) { return values[row * columns + column]; }
};

} // namespace

Dictionary germanToEnglish() {
    return {
        {"hallo", "hello"},
        {"Hallo", "Hello"},
        {"Welt", "world"},
        {"guten", "good"},
        {"Guten", "Good"},
        {"Morgen", "morning"},
        {"Abend", "evening"},
        {"das", "this"},
        {"Das", "This"},
        {"ist", "is"},
        {"ein", "a"},
        {"Test", "test"},
        {"Diktat", "dictation"},
        {"Übersetzung", "translation"},
        {"Rechner", "computer"},
        {"eins", "one"},
        {"zwei", "two"},
        {"drei", "three"},
        {"danke", "thanks"},
        {"und", "and"},
    };
}

DictionaryModel::DictionaryModel(const Dictionary &dictionary) {
    const std::string wordBegin = "\u2581";
    std::vector<VocabularyPiece> pieces{{"</s>", 0, 3}, {"<unk>", 0, 2}, {","}, {"."}, {"?"}, {"!"}};
    std::map<std::string, std::size_t> numbers;
    const auto numberOf = [&](const std::string &word) {
        const auto [entry, isNew] = numbers.try_emplace(word, pieces.size());
        if (isNew)
            pieces.push_back({wordBegin + word});
        return entry->second;
    };
    for (const auto &[source, target] : dictionary) {
        numberOf(source);
        numberOf(target);
    }
    while (pieces.size() % 8 != 0)
        numberOf("<" + std::to_string(pieces.size()) + ">");

    const std::size_t words = pieces.size();
    std::vector<std::size_t> translation(words);
    for (std::size_t word = 0; word < words; ++word)
        translation[word] = word;
    for (const auto &[source, target] : dictionary)
        translation[numberOf(source)] = numberOf(target);

    const std::vector<std::size_t> places = codePlaces();
    const auto length = float(places.size());
    const Codes all = codes(words, places.size());
    const std::size_t hidden = (words + 63) / 64 * 64;

    std::map<std::string, Values> tensors;
    const auto zeros = [&](const std::string &name, std::size_t rows, std::size_t columns) -> Values & {
        return tensors.insert_or_assign(name, Values{rows, columns}).first->second;
    };
    const auto normalization = [&](const std::string &name) {
        std::ranges::fill(zeros(name + "_ln_scale", 1, dimension).values, 1.F);
        zeros(name + "_ln_bias", 1, dimension);
    };
    const auto attention = [&](const std::string &name) {
        for (const char *part : {"q", "k", "v", "o"}) {
            zeros(name + "_W" + part, dimension, dimension);
            zeros(name + "_b" + part, 1, dimension);
        }
        normalization(name + "_Wo");
    };
    const auto feedForward = [&](const std::string &name) {
        zeros(name + "_W1", dimension, hidden);
        zeros(name + "_b1", 1, hidden);
        zeros(name + "_W2", hidden, dimension);
        zeros(name + "_b2", 1, dimension);
        normalization(name + "_ffn");
    };
    zeros("decoder_ff_logit_out_b", 1, words);
    attention("encoder_l1_self");
    feedForward("encoder_l1_ffn");
    zeros("decoder_l1_rnn_W", dimension, dimension);
    zeros("decoder_l1_rnn_Wf", dimension, dimension);
    zeros("decoder_l1_rnn_bf", 1, dimension);
    normalization("decoder_l1_rnn_ffn");
    attention("decoder_l1_context");
    feedForward("decoder_l1_ffn");

    // A code's height, once an embedding is scaled; and about what a normalisation leaves of it.
    const float height = 1.5F;
    const float normalized = height / std::sqrt(.5F + length / dimension * height * height);
    Values &embedding = zeros("Wemb", words, dimension);
    Values &recognize = tensors.at("encoder_l1_ffn_W1");
    Values &threshold = tensors.at("encoder_l1_ffn_b1");
    Values &replace = tensors.at("encoder_l1_ffn_W2");
    for (std::size_t word = 0; word < words; ++word) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            const auto own = float(all.ofWords[word][i]);
            embedding.at(word, places[i]) = height / std::sqrt(float(dimension)) * own;
            recognize.at(places[i], word) = .5F * own;
            replace.at(word, places[i]) = 2.F * float(all.ofWords[translation[word]][i]);
        }
        // Half-way between a match and the worst clash.
        threshold.at(0, word) = -.5F * normalized * (length + float(all.worstClash)) / 2;
    }

    const std::size_t perHead = places.size() / heads;
    for (std::size_t head = 0; head < heads; ++head) {
        for (std::size_t turn = 0; turn < headWidth / 2; ++turn) {
            for (const bool isCosine : {false, true}) {
                const std::size_t column = head * headWidth + 2 * turn + (isCosine ? 1 : 0);
                for (const auto &[name, gain] : {std::pair{"_Wq", 8.F}, std::pair{"_Wk", 16.F}}) {
                    Values &weights = tensors.at(std::string("decoder_l1_context") + name);
                    weights.at((isCosine ? half : 0) + turn, column) = gain;
                    // Slow sines are near 0: taking off their mean undoes what the normalisation took off.
                    for (std::size_t i = 0; i < places.size() / 2; ++i)
                        weights.at(places[i], column) = -gain / (length / 2);
                }
            }
        }
        for (std::size_t i = 0; i < perHead; ++i) {
            const std::size_t place = places[head * perHead + i];
            tensors.at("decoder_l1_context_Wv").at(place, head * headWidth + i) = 1;
            tensors.at("decoder_l1_context_Wo").at(head * headWidth + i, place) = 8;
        }
    }

    ModelWriter writer;
    for (const auto &[name, tensor] : tensors) {
        const auto rows = std::int32_t(tensor.rows);
        const auto columns = std::int32_t(tensor.columns);
        const bool isEmbedding = name == "Wemb";
        if (!isEmbedding &&
            (name.find("_W") == std::string::npos || name.find("_ln_") != std::string::npos)) {
            writer.floats(name, rows, columns, tensor.values);
            continue;
        }
        float largest = 0;
        std::vector<float> stored;
        for (std::size_t column = 0; column < tensor.columns && !isEmbedding; ++column)
            for (std::size_t row = 0; row < tensor.rows; ++row)
                stored.push_back(tensor.values[row * tensor.columns + column]);
        for (const float value : tensor.values)
            largest = std::max(largest, std::abs(value));
        // At half the range, the reference implementation's sums of 16 bits do not saturate.
        writer.bytes(name, rows, columns, isEmbedding ? tensor.values : stored,
                     63 / (largest > 0 ? largest : 1));
        writer.floats(name + "_QuantMultA", 1, 1, {127.F / (name.ends_with("_W2") ? 12.F : 4.F)});
    }
    writer.text("special:model.yml", configurationText({dimension, hidden, heads, 1, 1, words, words, true}));
    modelFile = writer.file();
    vocabularyFile = test::vocabularyFile(pieces);

    constexpr std::uint64_t alwaysThere = 8;
    std::vector<std::vector<std::uint32_t>> targets;
    for (const std::size_t word : translation)
        targets.push_back({std::uint32_t(word)});
    shortlistFile = test::shortlistFile(alwaysThere, targets);
}

void writePublishedModel(const std::filesystem::path &folder, const Dictionary &dictionary) {
    const DictionaryModel model(dictionary);
    writeFile(folder / "model.xxyy.intgemm.alphas.bin", model.modelFile);
    writeFile(folder / "vocab.xxyy.spm", model.vocabularyFile);
    writeFile(folder / "lex.50.50.xxyy.s2t.bin", model.shortlistFile);
}

void writeDictionaryModel(const std::filesystem::path &folder, const Dictionary &dictionary) {
    const DictionaryModel model(dictionary);
    writeFile(folder / "model.bin", model.modelFile);
    writeFile(folder / "vocabulary.spm", model.vocabularyFile);
    writeFile(folder / "shortlist.bin", model.shortlistFile);
}

} // namespace quillora::test
