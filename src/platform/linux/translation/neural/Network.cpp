#include "platform/linux/translation/neural/Network.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/ModelFile.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_set>

namespace quillora::neural {

namespace {

constexpr std::string_view configurationItem = "special:model.yml";

// Behind the name of a matrix: what its input is to be multiplied by.
constexpr std::string_view inputMultiplierSuffix = "_QuantMultA";

std::string textOf(ModelFile &file) {
    const ModelFile::Item *item = file.find(configurationItem);
    if (item == nullptr)
        throw ModelError("The model does not say of what kind it is: it lacks \"special:model.yml\".");
    return file.text(*item);
}

} // namespace

/// Takes the layers out of a file by their names, and checks that nothing is left over.
class Network::Reader {
public:
    Reader(ModelFile &file, PageMemory &memory, Arithmetic arithmetic)
        : m_file(file), m_memory(memory), m_arithmetic(arithmetic) {}

    /// Enough for everything in a file.
    static std::size_t memoryFor(const ModelFile &file, const ModelConfiguration &configuration) {
        std::size_t values = configuration.dimension * longest;
        for (const ModelFile::Item &item : file.items())
            values += wholeBlocks(item.columns) * item.rows + blockOutputs;
        return values * sizeof(float);
    }

    std::span<const float> vector(const std::string &name, std::size_t count) {
        const ModelFile::Item &item = find(name, 1, count, ModelFile::Type::Floats);
        const std::span<float> values = m_memory.take<float>(wholeBlocks(count));
        m_file.readFloats(item, values.first(count));
        return values;
    }

    Normalization normalization(const std::string &name, std::size_t count) {
        return {vector(name + "_ln_scale", count).data(), vector(name + "_ln_bias", count).data()};
    }

    Matrix matrix(const std::string &name, std::size_t inputs, std::size_t outputs) {
        const ModelFile::Item &item = find(name, inputs, outputs);
        Matrix matrix;
        matrix.inputs = inputs;
        matrix.outputs = outputs;
        if (item.type == ModelFile::Type::Floats) {
            const std::span<float> values = m_memory.take<float>(inputs * outputs);
            m_file.readFloats(item, values);
            matrix.floats = values.data();
            return matrix;
        }
        // Stored with one row for each output.
        m_bytes.resize(inputs * outputs);
        matrix.multiplier = m_file.readBytes(item, m_bytes);
        matrix.inputMultiplier = inputMultiplier(name);
        if (m_arithmetic == Arithmetic::Floats) {
            const std::span<float> values = m_memory.take<float>(inputs * outputs);
            for (std::size_t input = 0; input < inputs; ++input)
                for (std::size_t output = 0; output < outputs; ++output)
                    values[input * outputs + output] =
                        float(m_bytes[output * inputs + input]) * (1 / matrix.multiplier);
            matrix.floats = values.data();
            return matrix;
        }
        const std::span<std::int8_t> blocks = m_memory.take<std::int8_t>(inputs * wholeBlocks(outputs));
        packIntoBlocks(
            outputs, inputs, [&](std::size_t output) { return m_bytes.data() + output * inputs; },
            blocks.data());
        matrix.bytes = blocks.data();
        return matrix;
    }

    Matrix matrix(const std::string &name, const std::string &bias, std::size_t inputs, std::size_t outputs) {
        Matrix matrix = this->matrix(name, inputs, outputs);
        matrix.bias = vector(bias, outputs).data();
        return matrix;
    }

    Embedding embedding(const std::string &name, std::size_t tokens, std::size_t dimension) {
        const ModelFile::Item &item = find(name, tokens, dimension);
        Embedding embedding;
        embedding.dimension = dimension;
        if (item.type == ModelFile::Type::Floats) {
            const std::span<float> values = m_memory.take<float>(tokens * dimension);
            m_file.readFloats(item, values);
            embedding.floats = values.data();
            return embedding;
        }
        if (m_arithmetic == Arithmetic::Floats) {
            m_bytes.resize(tokens * dimension);
            const float multiplier = m_file.readBytes(item, m_bytes);
            const std::span<float> values = m_memory.take<float>(tokens * dimension);
            std::ranges::transform(m_bytes, values.begin(), [multiplier](std::int8_t value) {
                return float(value) * (1 / multiplier);
            });
            embedding.floats = values.data();
            return embedding;
        }
        const std::span<std::int8_t> values = m_memory.take<std::int8_t>(tokens * dimension);
        embedding.multiplier = m_file.readBytes(item, values);
        embedding.outputMultiplier = inputMultiplier(name);
        embedding.bytes = values.data();
        return embedding;
    }

    Attending attending(const std::string &name, std::size_t dimension) {
        const auto part = [&](const char *letter) {
            return matrix(name + "_W" + letter, name + "_b" + letter, dimension, dimension);
        };
        return {part("q"), part("k"), part("v"), part("o"), normalization(name + "_Wo", dimension)};
    }

    FeedForward feedForward(const std::string &name, std::size_t dimension, std::size_t innerDimension) {
        FeedForward layer{matrix(name + "_W1", name + "_b1", dimension, innerDimension),
                          matrix(name + "_W2", name + "_b2", innerDimension, dimension),
                          normalization(name + "_ffn", dimension)};
        layer.narrow.inputIsNeverNegative = true; // it comes out of the rectifier
        return layer;
    }

    Recurrence recurrence(const std::string &name, std::size_t dimension) {
        return {matrix(name + "_W", dimension, dimension),
                matrix(name + "_Wf", name + "_bf", dimension, dimension),
                normalization(name + "_ffn", dimension)};
    }

    /// A layer that nobody asked for would change the result: such a model is of another kind.
    void refuseWhatIsLeft() const {
        for (const ModelFile::Item &item : m_file.items()) {
            if (item.name != configurationItem && !item.name.ends_with(inputMultiplierSuffix) &&
                !m_taken.contains(item.name))
                throw ModelError("The model holds \"" + item.name +
                                 "\", which a model of its kind does not have.");
        }
    }

private:
    const ModelFile::Item &find(const std::string &name, std::size_t rows, std::size_t columns) {
        const ModelFile::Item *item = m_file.find(name);
        if (item == nullptr)
            throw ModelError("The model lacks \"" + name + "\".");
        if (item->rows != rows || item->columns != columns)
            throw ModelError("The model's \"" + name + "\" is " + std::to_string(item->rows) + " by " +
                             std::to_string(item->columns) + ", not " + std::to_string(rows) + " by " +
                             std::to_string(columns) + ".");
        if (item->type == ModelFile::Type::Text)
            throw ModelError("The model's \"" + name + "\" is text, not numbers.");
        m_taken.insert(item->name);
        return *item;
    }

    const ModelFile::Item &find(const std::string &name, std::size_t rows, std::size_t columns,
                                ModelFile::Type type) {
        const ModelFile::Item &item = find(name, rows, columns);
        if (item.type != type)
            throw ModelError("The model's \"" + name + "\" holds another type of number than it should.");
        return item;
    }

    float inputMultiplier(const std::string &matrix) {
        const std::string name = matrix + std::string(inputMultiplierSuffix);
        if (m_file.find(name) == nullptr)
            return 0;
        float multiplier = 0;
        m_file.readFloats(find(name, 1, 1, ModelFile::Type::Floats), {&multiplier, 1});
        if (!ModelFile::isUsableMultiplier(multiplier))
            throw ModelError("The model is damaged: \"" + name + "\" is no usable number.");
        return multiplier;
    }

    ModelFile &m_file;
    PageMemory &m_memory;
    Arithmetic m_arithmetic;
    std::unordered_set<std::string_view> m_taken;
    std::vector<std::int8_t> m_bytes;
};

Network::Network(std::istream &in, Arithmetic arithmetic) {
    ModelFile file(in);
    m_configuration = ModelConfiguration::parse(textOf(file));
    const std::size_t dimension = m_configuration.dimension;
    m_memory = PageMemory(Reader::memoryFor(file, m_configuration));
    Reader reader(file, m_memory, arithmetic);

    // What a step of the decoder reads lies side by side.
    for (std::size_t depth = 1; depth <= m_configuration.decoderDepth; ++depth) {
        const std::string name = "decoder_l" + std::to_string(depth);
        m_decoder.push_back({reader.recurrence(name + "_rnn", dimension),
                             reader.attending(name + "_context", dimension),
                             reader.feedForward(name + "_ffn", dimension, m_configuration.innerDimension)});
    }
    for (std::size_t depth = 1; depth <= m_configuration.encoderDepth; ++depth) {
        const std::string name = "encoder_l" + std::to_string(depth);
        m_encoder.push_back({reader.attending(name + "_self", dimension),
                             reader.feedForward(name + "_ffn", dimension, m_configuration.innerDimension)});
    }
    if (m_configuration.sharedEmbeddings) {
        m_source = m_target = reader.embedding("Wemb", m_configuration.sourceVocabulary, dimension);
    } else {
        m_source = reader.embedding("encoder_Wemb", m_configuration.sourceVocabulary, dimension);
        m_target = reader.embedding("decoder_Wemb", m_configuration.targetVocabulary, dimension);
    }
    m_outputBias = reader.vector("decoder_ff_logit_out_b", m_configuration.targetVocabulary).data();
    reader.refuseWhatIsLeft();

    const std::span<float> positions = m_memory.take<float>(longest * dimension);
    const std::size_t half = dimension / 2;
    const float step = std::log(10000.F) / (float(half) - 1);
    for (std::size_t i = 0; i < half; ++i) {
        const float speed = std::exp(float(i) * -step);
        for (std::size_t position = 0; position < longest; ++position) {
            float *row = positions.data() + position * dimension;
            row[i] = std::sin(float(position) * speed);
            row[half + i] = std::cos(float(position) * speed);
        }
    }
    m_positions = positions.data();
}

void Network::embedSource(Token token, std::size_t position, float *x) const {
    embed(m_source, token, position, x);
}

void Network::embedTarget(Token token, std::size_t position, float *x) const {
    embed(m_target, token, position, x);
}

void Network::embedBeginning(float *x) const { std::copy_n(m_positions, m_configuration.dimension, x); }

void Network::embed(const Embedding &embedding, Token token, std::size_t position, float *x) const {
    const std::size_t dimension = embedding.dimension;
    const float scale = std::sqrt(float(dimension));
    const std::size_t row = std::size_t(token) * dimension;
    const float *signal = m_positions + position * dimension;
    for (std::size_t i = 0; i < dimension; ++i) {
        const float value = embedding.floats != nullptr
                                ? embedding.floats[row + i]
                                : float(embedding.bytes[row + i]) * (1 / embedding.multiplier);
        x[i] = value * scale + signal[i];
    }
}

Matrix Network::outputFor(std::span<const Token> candidates, PageMemory &memory) const {
    const std::size_t dimension = m_target.dimension;
    Matrix matrix;
    matrix.inputs = dimension;
    matrix.outputs = candidates.size();
    const std::size_t room = wholeBlocks(candidates.size());
    memory = PageMemory(room * (dimension + 1) * sizeof(float));

    const std::span<float> bias = memory.take<float>(room);
    std::ranges::transform(candidates, bias.begin(),
                           [this](Token token) { return m_outputBias[std::size_t(token)]; });
    matrix.bias = bias.data();
    if (m_target.floats != nullptr) {
        const std::span<float> values = memory.take<float>(candidates.size() * dimension);
        for (std::size_t output = 0; output < candidates.size(); ++output)
            for (std::size_t input = 0; input < dimension; ++input)
                values[input * candidates.size() + output] =
                    m_target.floats[std::size_t(candidates[output]) * dimension + input];
        matrix.floats = values.data();
        return matrix;
    }
    const std::span<std::int8_t> blocks = memory.take<std::int8_t>(room * dimension);
    packIntoBlocks(
        candidates.size(), dimension,
        [&](std::size_t output) { return m_target.bytes + std::size_t(candidates[output]) * dimension; },
        blocks.data());
    matrix.bytes = blocks.data();
    matrix.multiplier = m_target.multiplier;
    matrix.inputMultiplier = m_target.outputMultiplier;
    return matrix;
}

std::size_t Network::sizeOfStep() const {
    std::size_t size = 0;
    for (const DecoderLayer &layer : m_decoder) {
        size += layer.recurrence.input.size() + layer.recurrence.forget.size();
        size += layer.context.query.size() + layer.context.output.size();
        size += layer.feedForward.widen.size() + layer.feedForward.narrow.size();
    }
    return size;
}

} // namespace quillora::neural
