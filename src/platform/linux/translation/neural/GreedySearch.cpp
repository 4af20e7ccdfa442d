#include "platform/linux/translation/neural/GreedySearch.h"

#include "platform/linux/translation/neural/Stopped.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>

namespace quillora::neural {

namespace {

/// Rows of floats that layers work on.
using Rows = std::vector<float>;

/// The layers' steps, for all rows of a computation at once. Each adds to x and normalises the sum.
class Layers {
public:
    Layers(const Network &network, const Kernels &kernels, const std::stop_token &stop)
        : m_kernels(kernels), m_stop(stop), m_dimension(network.configuration().dimension),
          m_heads(network.configuration().heads), m_multiplier(kernels) {}

    std::size_t dimension() const { return m_dimension; }

    void obeyStop() const {
        if (m_stop.stop_requested())
            throw Stopped();
    }

    void multiply(const Matrix &matrix, const float *x, std::size_t rows, float *y) {
        for (std::size_t row = 0; row < rows; row += mostRows) {
            m_multiplier.multiply(matrix, x + row * matrix.inputs, std::min(mostRows, rows - row),
                                  y + row * matrix.outputs);
            obeyStop();
        }
    }

    /// `rows` queries look at `sourceRows` keys, turned on their side, and values.
    void attend(const float *queries, std::size_t rows, const float *keys, const float *values,
                std::size_t sourceRows, float *y) {
        m_weights.resize(wholeBlocks(sourceRows));
        for (std::size_t row = 0; row < rows; ++row)
            m_kernels.attend({queries + row * m_dimension, keys, values, sourceRows, m_dimension, m_heads,
                              m_weights.data(), y + row * m_dimension});
        obeyStop();
    }

    void addAndNormalize(Rows &x, const Rows &y, std::size_t rows,
                         const Network::Normalization &normalization) {
        for (std::size_t row = 0; row < rows; ++row)
            m_kernels.addAndNormalize(x.data() + row * m_dimension, y.data() + row * m_dimension, m_dimension,
                                      normalization.scale, normalization.bias);
    }

    void feedForward(const Network::FeedForward &layer, Rows &x, std::size_t rows) {
        m_wide.resize(rows * layer.widen.outputs);
        m_narrow.resize(rows * m_dimension);
        multiply(layer.widen, x.data(), rows, m_wide.data());
        m_kernels.rectify(m_wide.data(), rows * layer.widen.outputs);
        multiply(layer.narrow, m_wide.data(), rows, m_narrow.data());
        addAndNormalize(x, m_narrow, rows, layer.normalization);
    }

private:
    /// So many rows of the widest product take some milliseconds on a slow computer, and a stop is heard
    /// between. Fewer would read the weights too often.
    static constexpr std::size_t mostRows = 128;

    const Kernels &m_kernels;
    const std::stop_token &m_stop;
    const std::size_t m_dimension;
    const std::size_t m_heads;
    Multiplier m_multiplier;
    Rows m_weights;
    Rows m_wide;
    Rows m_narrow;
};

/// Rows turned on their side, as attention reads keys.
Rows turned(const float *rows, std::size_t count, std::size_t dimension) {
    const std::size_t stride = wholeBlocks(count);
    Rows turned(dimension * stride);
    for (std::size_t row = 0; row < count; ++row)
        for (std::size_t i = 0; i < dimension; ++i)
            turned[i * stride + row] = rows[row * dimension + i];
    return turned;
}

/// Where each sentence's rows lie, with the end of the last.
std::vector<std::size_t> beginsOf(std::span<const Tokens> sentences) {
    std::vector<std::size_t> begins{0};
    for (const Tokens &sentence : sentences)
        begins.push_back(begins.back() + sentence.size());
    return begins;
}

/// The sources, encoded: a row for each token, sentence after sentence.
Rows encode(const Network &network, Layers &layers, std::span<const Tokens> sentences) {
    const std::size_t dimension = layers.dimension();
    const std::vector<std::size_t> begins = beginsOf(sentences);
    const std::size_t rows = begins.back();

    Rows x(rows * dimension);
    float *row = x.data();
    for (const Tokens &sentence : sentences) {
        for (std::size_t position = 0; position < sentence.size(); ++position, row += dimension)
            network.embedSource(sentence[position], position, row);
    }

    Rows queries(rows * dimension);
    Rows keys(rows * dimension);
    Rows values(rows * dimension);
    Rows seen(rows * dimension);
    for (const Network::EncoderLayer &layer : network.encoder()) {
        layers.multiply(layer.self.query, x.data(), rows, queries.data());
        layers.multiply(layer.self.keys, x.data(), rows, keys.data());
        layers.multiply(layer.self.values, x.data(), rows, values.data());
        for (std::size_t sentence = 0; sentence < sentences.size(); ++sentence) {
            const std::size_t begin = begins[sentence] * dimension;
            const std::size_t count = sentences[sentence].size();
            layers.attend(queries.data() + begin, count, turned(keys.data() + begin, count, dimension).data(),
                          values.data() + begin, count, seen.data() + begin);
        }
        layers.multiply(layer.self.output, seen.data(), rows, queries.data());
        layers.addAndNormalize(x, queries, rows, layer.self.normalization);
        layers.feedForward(layer.feedForward, x, rows);
    }
    return x;
}

/// A sentence while it is being translated.
struct Translation {
    std::size_t source;  ///< its number
    std::size_t longest; ///< in tokens
    Tokens candidates;   ///< with a shortlist
    PageMemory memory;   ///< of its output
    Matrix output;       ///< rates the candidates
    Tokens tokens;
};

/// What a decoder's layer knows of all sentences.
struct LayerMemory {
    std::vector<Rows> keys; ///< of each source, turned
    Rows values;            ///< of the sources, as they were encoded
    Rows cells;             ///< what it remembers of what was said, a row for each sentence
};

} // namespace

GreedySearch::GreedySearch(const Network &network, const Shortlist *shortlist, const Kernels &kernels,
                           Setting setting)
    : m_network(network), m_shortlist(shortlist), m_kernels(kernels), m_setting(setting) {
    if (m_shortlist == nullptr) {
        m_everyToken.resize(network.configuration().targetVocabulary);
        std::iota(m_everyToken.begin(), m_everyToken.end(), 0);
        m_output = network.outputFor(m_everyToken, m_outputMemory);
    }
}

std::vector<Tokens> GreedySearch::translate(std::span<const Tokens> sentences,
                                            const std::stop_token &stop) const {
    const auto isTooLong = [](const Tokens &sentence) { return sentence.size() > Network::longest; };
    if (std::ranges::any_of(sentences, isTooLong))
        throw std::length_error("a sentence has more tokens than there are positions");
    Layers layers(m_network, m_kernels, stop);
    layers.obeyStop();
    const std::size_t dimension = layers.dimension();
    const std::vector<std::size_t> begins = beginsOf(sentences);
    const Rows encoded = encode(m_network, layers, sentences);

    std::vector<LayerMemory> memories;
    Rows keys(encoded.size());
    for (const Network::DecoderLayer &layer : m_network.decoder()) {
        LayerMemory &memory = memories.emplace_back(std::vector<Rows>(), Rows(encoded.size()),
                                                    Rows(sentences.size() * dimension));
        layers.multiply(layer.context.keys, encoded.data(), begins.back(), keys.data());
        layers.multiply(layer.context.values, encoded.data(), begins.back(), memory.values.data());
        for (std::size_t i = 0; i < sentences.size(); ++i)
            memory.keys.push_back(
                turned(keys.data() + begins[i] * dimension, sentences[i].size(), dimension));
    }

    std::vector<Translation> translations(sentences.size());
    std::vector<Translation *> unfinished;
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        layers.obeyStop(); // packing the candidates takes a while
        Translation &translation = translations[i];
        translation.source = i;
        translation.longest =
            std::min(m_setting.longestTranslation(sentences[i].size()), std::size_t(Network::longest));
        if (m_shortlist != nullptr) {
            translation.candidates = m_shortlist->candidates(sentences[i]);
            translation.output = m_network.outputFor(translation.candidates, translation.memory);
        }
        if (translation.longest > 0)
            unfinished.push_back(&translation);
    }

    Rows x;
    Rows y;
    Rows forget;
    Rows ratings;
    for (std::size_t position = 0; !unfinished.empty(); ++position) {
        const std::size_t rows = unfinished.size();
        x.resize(rows * dimension);
        y.resize(rows * dimension);
        forget.resize(rows * dimension);
        for (std::size_t row = 0; row < rows; ++row) {
            if (position == 0)
                m_network.embedBeginning(x.data() + row * dimension);
            else
                m_network.embedTarget(unfinished[row]->tokens.back(), position, x.data() + row * dimension);
        }

        for (std::size_t depth = 0; depth < memories.size(); ++depth) {
            const Network::DecoderLayer &layer = m_network.decoder()[depth];
            LayerMemory &memory = memories[depth];
            layers.multiply(layer.recurrence.input, x.data(), rows, y.data());
            layers.multiply(layer.recurrence.forget, x.data(), rows, forget.data());
            for (std::size_t row = 0; row < rows; ++row)
                m_kernels.remember(memory.cells.data() + unfinished[row]->source * dimension,
                                   forget.data() + row * dimension, y.data() + row * dimension, dimension);
            layers.addAndNormalize(x, y, rows, layer.recurrence.normalization);

            layers.multiply(layer.context.query, x.data(), rows, y.data());
            for (std::size_t row = 0; row < rows; ++row) {
                const std::size_t source = unfinished[row]->source;
                layers.attend(y.data() + row * dimension, 1, memory.keys[source].data(),
                              memory.values.data() + begins[source] * dimension, sentences[source].size(),
                              forget.data() + row * dimension);
            }
            layers.multiply(layer.context.output, forget.data(), rows, y.data());
            layers.addAndNormalize(x, y, rows, layer.context.normalization);
            layers.feedForward(layer.feedForward, x, rows);
        }

        for (std::size_t row = 0; row < rows; ++row) {
            Translation &translation = *unfinished[row];
            const Matrix &output = m_shortlist != nullptr ? translation.output : m_output;
            const Tokens &candidates = m_shortlist != nullptr ? translation.candidates : m_everyToken;
            ratings.resize(output.outputs);
            layers.multiply(output, x.data() + row * dimension, 1, ratings.data());
            float highest = -std::numeric_limits<float>::infinity();
            Token best = m_setting.end;
            for (std::size_t i = 0; i < ratings.size(); ++i) {
                if (ratings[i] > highest && candidates[i] != m_setting.unknown) {
                    highest = ratings[i];
                    best = candidates[i];
                }
            }
            translation.tokens.push_back(best);
        }
        std::erase_if(unfinished, [this](const Translation *translation) {
            return translation->tokens.back() == m_setting.end ||
                   translation->tokens.size() >= translation->longest;
        });
    }

    std::vector<Tokens> results;
    for (Translation &translation : translations) {
        if (!translation.tokens.empty() && translation.tokens.back() == m_setting.end)
            translation.tokens.pop_back();
        results.push_back(std::move(translation.tokens));
    }
    return results;
}

} // namespace quillora::neural
