#include "platform/linux/translation/neural/Matrix.h"
#include "platform/linux/translation/neural/kernels/InstructionSets.h"
#include "support/neural/RandomModel.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

using namespace Qt::StringLiterals;
using namespace quillora::neural;
using quillora::test::RandomNumbers;

Q_DECLARE_METATYPE(const Kernels *)

/// Every instruction set computes the same as the plain one, bit by bit.
class KernelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void productsOfBytesAreExact_data() { kernels(); }
    void productsOfBytesAreExact();
    void productsOfTheLargestBytesDoNotOverflow_data() { kernels(); }
    void productsOfTheLargestBytesDoNotOverflow();
    void productsOfFloatsAreTheSame_data() { kernels(); }
    void productsOfFloatsAreTheSame();
    void quantizingRoundsToTheNearestEven_data() { kernels(); }
    void quantizingRoundsToTheNearestEven();
    void quantizingIsTheSame_data() { kernels(); }
    void quantizingIsTheSame();
    void attentionIsTheSame_data() { kernels(); }
    void attentionIsTheSame();
    void attentionIsWhatItsFormulaSays();
    void rowsAreTheSame_data() { kernels(); }
    void rowsAreTheSame();
    void theRecurrentUnitIsWhatItsFormulaSays();

private:
    static void kernels();
};

namespace {

using Bytes = std::vector<std::int8_t>;
using Floats = std::vector<float>;
using Sizes = std::initializer_list<std::size_t>;

Bytes randomBytes(RandomNumbers &random, std::size_t count, int lowest) {
    Bytes bytes(count);
    std::ranges::generate(bytes,
                          [&] { return std::int8_t(lowest + int(random.below(std::size_t(128 - lowest)))); });
    return bytes;
}

Floats randomFloats(RandomNumbers &random, std::size_t count, float range) {
    Floats floats(count);
    std::ranges::generate(floats, [&] { return random.between(-range, range); });
    return floats;
}

bool areSame(const Floats &a, const Floats &b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// A product of random bytes, with room around x and y to shift them in memory.
struct RandomProduct {
    RandomProduct(RandomNumbers &random, std::size_t rows, std::size_t inputs, std::size_t outputs,
                  int lowest = -127)
        : rows(rows), inputs(inputs), outputs(outputs), x(randomBytes(random, rows * inputs, lowest)),
          weights(randomBytes(random, outputs * inputs, -128)),
          bias(randomFloats(random, wholeBlocks(outputs), 1)), memory(inputs * wholeBlocks(outputs) + 64),
          blocks(memory.take<std::int8_t>(inputs * wholeBlocks(outputs))) {
        packIntoBlocks(
            outputs, inputs, [this](std::size_t output) { return weights.data() + output * this->inputs; },
            blocks.data());
    }

    Floats computedBy(const Kernels &kernels, std::size_t shift, float unit, const float *withBias) const {
        Bytes shifted(shift);
        shifted.insert(shifted.end(), x.begin(), x.end());
        std::vector<std::int32_t> totals;
        for (std::size_t row = 0; row < rows; ++row)
            totals.push_back(std::accumulate(x.begin() + std::ptrdiff_t(row * inputs),
                                             x.begin() + std::ptrdiff_t((row + 1) * inputs), 0));
        const Floats units(rows, unit);
        Floats y(shift + rows * outputs + 1, 12345.F);
        kernels.multiplyInt8({shifted.data() + shift, rows, inputs, units.data(), totals.data(),
                              blocks.data(), outputs, withBias, y.data() + shift,
                              std::ranges::all_of(x, [](std::int8_t value) { return value >= 0; })});
        if (y.back() != 12345.F)
            qFatal("%s wrote beyond its end", kernels.name);
        return {y.begin() + std::ptrdiff_t(shift), y.end() - 1};
    }

    std::size_t rows, inputs, outputs;
    Bytes x;
    Bytes weights; ///< a row for each output
    Floats bias;
    PageMemory memory;
    std::span<std::int8_t> blocks;
};

} // namespace

void KernelsTest::kernels() {
    QTest::addColumn<const Kernels *>("kernels");
    for (const Kernels *kernels : availableKernels())
        QTest::newRow(kernels->name) << kernels;
}

void KernelsTest::productsOfBytesAreExact() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(1);
    for (const std::size_t inputs : Sizes{16, 48, 64, 112, 256, 384, 1536, 2048}) {
        for (const std::size_t outputs : Sizes{1, 7, 8, 15, 16, 17, 33, 64, 100, 368}) {
            for (const std::size_t rows : Sizes{1, 2, 3, 4, 5, 7, 8, 9, 16, 23}) {
                const RandomProduct product(random, rows, inputs, outputs, random.below(3) == 0 ? 0 : -127);
                const std::size_t shift = random.below(64);
                const Floats y = product.computedBy(*kernels, shift, 1, nullptr);
                for (std::size_t i = 0; i < y.size(); ++i) {
                    const auto row = product.x.begin() + std::ptrdiff_t(i / outputs * inputs);
                    const auto column = product.weights.begin() + std::ptrdiff_t(i % outputs * inputs);
                    const int sum = std::inner_product(row, row + std::ptrdiff_t(inputs), column, 0);
                    if (y[i] != float(sum))
                        QFAIL(qPrintable(u"%1 by %2 by %3: %4 instead of %5"_s.arg(rows)
                                             .arg(inputs)
                                             .arg(outputs)
                                             .arg(double(y[i]))
                                             .arg(sum)));
                }
                QVERIFY(areSame(product.computedBy(*kernels, shift, 1.F / 777, product.bias.data()),
                                product.computedBy(scalarKernels, 0, 1.F / 777, product.bias.data())));
            }
        }
    }
}

void KernelsTest::productsOfTheLargestBytesDoNotOverflow() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(2);
    for (const int x : {-127, 127}) {
        for (const int weight : {-128, -127, 127}) {
            RandomProduct product(random, 3, 8192, 16);
            std::ranges::fill(product.x, std::int8_t(x));
            std::ranges::fill(product.blocks, std::int8_t(weight));
            QCOMPARE(product.computedBy(*kernels, 0, 1, nullptr), Floats(48, float(8192 * x * weight)));
        }
    }
}

void KernelsTest::productsOfFloatsAreTheSame() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(3);
    for (const std::size_t outputs : Sizes{1, 16, 33, 100}) {
        const std::size_t rows = 3;
        const std::size_t inputs = 48;
        const Floats x = randomFloats(random, rows * inputs, 2);
        const Floats weights = randomFloats(random, inputs * outputs, 1);
        const Floats bias = randomFloats(random, outputs, 1);
        Floats y(rows * outputs);
        Floats expected(rows * outputs);
        kernels->multiplyFloats({x.data(), rows, inputs, weights.data(), outputs, bias.data(), y.data()});
        scalarKernels.multiplyFloats(
            {x.data(), rows, inputs, weights.data(), outputs, bias.data(), expected.data()});
        QVERIFY(areSame(y, expected));
    }
}

void KernelsTest::quantizingRoundsToTheNearestEven() {
    QFETCH(const Kernels *, kernels);
    const Floats x{0.5F,  1.5F,   2.5F,    -0.5F, -1.5F,    0.49F,     126.5F, 127.5F,
                   1e30F, -1e30F, -127.5F, 3.51F, INFINITY, -INFINITY, 1e-40F, -3.49F};
    Bytes q(x.size());
    const std::int32_t sum = kernels->quantize(x.data(), x.size(), 1, q.data());
    const Bytes expected{0, 2, 2, 0, -2, 0, 126, 127, 127, -127, -127, 4, 127, -127, 0, -3};
    QCOMPARE(q, expected);
    QCOMPARE(sum, std::accumulate(expected.begin(), expected.end(), 0));
}

void KernelsTest::quantizingIsTheSame() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(4);
    for (const std::size_t count : Sizes{16, 48, 256, 1536}) {
        const Floats x = randomFloats(random, count, 8);
        Bytes q(count);
        Bytes expected(count);
        QCOMPARE(kernels->quantize(x.data(), count, 21.17F, q.data()),
                 scalarKernels.quantize(x.data(), count, 21.17F, expected.data()));
        QCOMPARE(q, expected);
        QCOMPARE(kernels->largest(x.data(), count), scalarKernels.largest(x.data(), count));
    }
}

void KernelsTest::attentionIsTheSame() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(5);
    for (const std::size_t heads : Sizes{1, 8}) {
        for (const std::size_t dimension : Sizes{64, 96, 256, 384}) {
            for (const std::size_t rows : Sizes{1, 2, 15, 16, 17, 100}) {
                const Floats query = randomFloats(random, dimension, 3);
                const Floats keys = randomFloats(random, wholeBlocks(rows) * dimension, 3);
                const Floats values = randomFloats(random, rows * dimension, 3);
                Floats weights(wholeBlocks(rows));
                Floats y(dimension);
                Floats expected(dimension);
                kernels->attend({query.data(), keys.data(), values.data(), rows, dimension, heads,
                                 weights.data(), y.data()});
                scalarKernels.attend({query.data(), keys.data(), values.data(), rows, dimension, heads,
                                      weights.data(), expected.data()});
                QVERIFY(areSame(y, expected));
            }
        }
    }
}

void KernelsTest::attentionIsWhatItsFormulaSays() {
    RandomNumbers random(6);
    constexpr std::size_t dimension = 16;
    constexpr std::size_t rows = 20;
    const Floats query = randomFloats(random, dimension, 4);
    const Floats keys = randomFloats(random, wholeBlocks(rows) * dimension, 4);
    const Floats values = randomFloats(random, rows * dimension, 4);
    Floats weights(wholeBlocks(rows));
    Floats y(dimension);
    scalarKernels.attend(
        {query.data(), keys.data(), values.data(), rows, dimension, 1, weights.data(), y.data()});

    std::vector<double> expected(dimension);
    double sum = 0;
    for (std::size_t row = 0; row < rows; ++row) {
        double product = 0;
        for (std::size_t i = 0; i < dimension; ++i)
            product += double(query[i]) * double(keys[i * wholeBlocks(rows) + row]);
        const double weight = std::exp(product / 4);
        sum += weight;
        for (std::size_t i = 0; i < dimension; ++i)
            expected[i] += weight * double(values[row * dimension + i]);
    }
    for (std::size_t i = 0; i < dimension; ++i)
        QVERIFY(std::abs(double(y[i]) - expected[i] / sum) < 1e-5);
}

void KernelsTest::rowsAreTheSame() {
    QFETCH(const Kernels *, kernels);
    RandomNumbers random(7);
    for (const std::size_t count : Sizes{16, 48, 256, 512}) {
        const Floats x = randomFloats(random, count, 5);
        const Floats y = randomFloats(random, count, 5);
        const Floats scale = randomFloats(random, count, 1);
        const Floats bias = randomFloats(random, count, 1);
        Floats sum = x;
        Floats expectedSum = x;
        kernels->addAndNormalize(sum.data(), y.data(), count, scale.data(), bias.data());
        scalarKernels.addAndNormalize(expectedSum.data(), y.data(), count, scale.data(), bias.data());
        QVERIFY(areSame(sum, expectedSum));

        Floats memory = scale;
        Floats expectedMemory = scale;
        Floats output = y;
        Floats expectedOutput = y;
        kernels->remember(memory.data(), x.data(), output.data(), count);
        scalarKernels.remember(expectedMemory.data(), x.data(), expectedOutput.data(), count);
        QVERIFY(areSame(memory, expectedMemory));
        QVERIFY(areSame(output, expectedOutput));

        Floats rectified = x;
        kernels->rectify(rectified.data(), count);
        for (std::size_t i = 0; i < count; ++i)
            QCOMPARE(rectified[i], std::max(x[i], 0.F));
    }
}

void KernelsTest::theRecurrentUnitIsWhatItsFormulaSays() {
    const Floats forget{-100, -10, -2, -1, -.5F, -.1F, 0, .1F, .5F, 1, 2, 5, 10, 20, 80, 1000};
    Floats memory(16, 2);
    Floats y(16, -3);
    scalarKernels.remember(memory.data(), forget.data(), y.data(), 16);
    for (std::size_t i = 0; i < 16; ++i) {
        const double gate = 1 / (1 + std::exp(-double(forget[i])));
        const double expected = gate * 2 + (1 - gate) * -3;
        QVERIFY(std::abs(double(memory[i]) - expected) < 1e-5);
        QCOMPARE(y[i], std::max(memory[i], 0.F));
    }
}

QTEST_GUILESS_MAIN(KernelsTest)
#include "KernelsTest.moc"
