#pragma once

#include "platform/linux/translation/neural/ModelConfiguration.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::test {

/// Random numbers that are the same on every machine.
class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next();
    std::size_t below(std::size_t limit) { return std::size_t(next() % limit); }
    float between(float low, float high); ///< 24 bits of it are random

private:
    std::uint64_t m_state;
};

/// A model of random weights: it translates nonsense into nonsense, but always the same.
struct RandomModel {
    enum class Numbers {
        Floats,
        Bytes,               ///< int8
        BytesAndMultipliers, ///< int8, and what inputs are to be multiplied by, as published models have it
    };

    std::string_view name;
    neural::ModelConfiguration shape;
    Numbers numbers = Numbers::Floats;
    std::uint64_t seed = 1;
    float endBias = 0;               ///< the higher, the earlier sentences end
    std::size_t shortlistLength = 0; ///< targets for each source token; 0: no shortlist
    std::size_t alwaysThere = 0;     ///< in the shortlist

    std::string modelFile() const;
    std::string sourceVocabularyFile() const;
    std::string targetVocabularyFile() const;
    std::string shortlistFile() const; ///< empty without one

    /// Sentences of random words, each word a token, so many of them as a random number from `shortest` to
    /// `longest`.
    std::vector<std::string> sentences(std::size_t count, std::size_t shortest, std::size_t longest,
                                       RandomNumbers &random) const;
};

/// What a model says of itself.
std::string configurationText(const neural::ModelConfiguration &shape);

/// The shapes of published models, to measure with; they never end a sentence before its time.
std::vector<RandomModel> measuredModels();

/// The models that translations of the reference implementation are kept for, and their sentences.
std::vector<RandomModel> goldenModels();
std::vector<std::string> goldenSentences(const RandomModel &model);

} // namespace quillora::test
