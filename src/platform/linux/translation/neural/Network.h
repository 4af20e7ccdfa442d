#pragma once

#include "platform/linux/translation/neural/Matrix.h"
#include "platform/linux/translation/neural/ModelConfiguration.h"
#include "platform/linux/translation/neural/PageMemory.h"
#include "platform/linux/translation/neural/Shortlist.h"

#include <cstddef>
#include <istream>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

namespace quillora::neural {

class ModelFile;

enum class Arithmetic {
    AsStored, ///< int8 where the model holds int8
    Floats    ///< to compare with: what the model holds, in floats; four times the memory
};

/// A token's vector, for each token of a vocabulary.
struct Embedding {
    std::size_t dimension = 0;
    const std::int8_t *bytes = nullptr;
    float multiplier = 1;
    float outputMultiplier = 0; ///< for a vector that is compared with all of them
    const float *floats = nullptr;
};

/// The weights of a translation model, by layers.
///
/// x is a token's row of numbers all the way through: each step adds to it and normalises the sum. The
/// encoder lets every token of the source look at every other. The decoder makes one token after the other:
/// its memory of what it has said is one recurrent cell a layer, and each layer looks at the encoded source.
class Network {
public:
    /// In tokens, of a source sentence as of a translation.
    static constexpr std::size_t longest = 512;

    /// Reads a model. Throws ModelError if it is damaged, or not of the kind that this computes.
    explicit Network(std::istream &in, Arithmetic = Arithmetic::AsStored);

    struct Normalization {
        const float *scale;
        const float *bias;
    };
    struct Attending {
        Matrix query, keys, values, output;
        Normalization normalization;
    };
    struct FeedForward {
        Matrix widen, narrow;
        Normalization normalization;
    };
    struct Recurrence {
        Matrix input, forget;
        Normalization normalization;
    };
    struct EncoderLayer {
        Attending self;
        FeedForward feedForward;
    };
    struct DecoderLayer {
        Recurrence recurrence;
        Attending context;
        FeedForward feedForward;
    };

    const ModelConfiguration &configuration() const { return m_configuration; }
    const std::vector<EncoderLayer> &encoder() const { return m_encoder; }
    const std::vector<DecoderLayer> &decoder() const { return m_decoder; }

    /// x = the token's vector, scaled, and the signal of its position. Without a token, the signal alone: so
    /// does a translation begin.
    void embedSource(Token token, std::size_t position, float *x) const;
    void embedTarget(Token token, std::size_t position, float *x) const;
    void embedBeginning(float *x) const;

    /// The matrix that rates candidates: what comes out is for each of them, in their order. It lives in
    /// `memory`.
    Matrix outputFor(std::span<const Token> candidates, PageMemory &memory) const;

    /// How much memory the weights take, in bytes.
    std::size_t size() const { return m_memory.used(); }

    /// How many bytes of weights a decoder's step reads, without the candidates.
    std::size_t sizeOfStep() const;

private:
    class Reader;

    void embed(const Embedding &embedding, Token token, std::size_t position, float *x) const;

    ModelConfiguration m_configuration;
    PageMemory m_memory; ///< holds everything that is pointed to
    Embedding m_source;
    Embedding m_target;
    std::vector<EncoderLayer> m_encoder;
    std::vector<DecoderLayer> m_decoder;
    const float *m_outputBias = nullptr;
    const float *m_positions = nullptr; ///< `longest` rows
};

} // namespace quillora::neural
