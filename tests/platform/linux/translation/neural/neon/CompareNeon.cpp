// Compares the kernels for ARM processors with the plain ones, bit by bit, on random numbers. A program
// without the toolkit, so that it can be built for a processor that is only emulated (`compare` beside it).
// Exit status 0 only if all of them are the same.
#include "platform/linux/translation/neural/Matrix.h"
#include "platform/linux/translation/neural/kernels/InstructionSets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

using namespace quillora::neural;

namespace {

using Bytes = std::vector<std::int8_t>;
using Floats = std::vector<float>;
using Sizes = std::initializer_list<std::size_t>;

std::mt19937 random_numbers;
std::size_t compared = 0;
std::size_t different = 0;

template <class Value>
std::vector<Value> randomValues(std::size_t count, int lowest, int highest) {
    std::vector<Value> values(count);
    for (Value &value : values) {
        if constexpr (std::is_same_v<Value, float>)
            value = std::uniform_real_distribution<float>(float(lowest), float(highest))(random_numbers);
        else
            value = Value(std::uniform_int_distribution<int>(lowest, highest)(random_numbers));
    }
    return values;
}

Floats randomFloats(std::size_t count) { return randomValues<float>(count, -5, 5); }

template <class Values>
void compare(const char *what, const Values &neon, const Values &plain) {
    ++compared;
    if (std::memcmp(neon.data(), plain.data(), plain.size() * sizeof plain[0]) == 0)
        return;
    ++different;
    std::printf("%s differs for %zu values\n", what, plain.size());
}

/// Rows and results begin anywhere in memory.
constexpr std::size_t furthestShift = 63;

void compareProductOfBytes(std::size_t rows, std::size_t inputs, std::size_t outputs, int lowest,
                           int highest) {
    const std::size_t shift = random_numbers() % (furthestShift + 1);
    const auto x = randomValues<std::int8_t>(shift + rows * inputs, lowest, highest);
    const auto weights = randomValues<std::int8_t>(outputs * inputs, -128, 127);
    const Floats bias = randomFloats(wholeBlocks(outputs));
    PageMemory memory(inputs * wholeBlocks(outputs) + 64);
    const std::span<std::int8_t> blocks = memory.take<std::int8_t>(inputs * wholeBlocks(outputs));
    packIntoBlocks(
        outputs, inputs, [&](std::size_t output) { return weights.data() + output * inputs; }, blocks.data());
    std::vector<std::int32_t> totals;
    for (std::size_t row = 0; row < rows; ++row) {
        const auto begin = x.begin() + std::ptrdiff_t(shift + row * inputs);
        totals.push_back(std::accumulate(begin, begin + std::ptrdiff_t(inputs), 0));
    }
    const Floats units(rows, 1.F / 777);
    const auto product = [&](const Kernels &kernels) {
        Floats y(shift + rows * outputs + 1, 12345);
        kernels.multiplyInt8({x.data() + shift, rows, inputs, units.data(), totals.data(), blocks.data(),
                              outputs, bias.data(), y.data() + shift, lowest >= 0});
        return y;
    };
    compare("a product of bytes", product(neonKernels), product(scalarKernels));
}

void compareProductOfFloats(std::size_t rows, std::size_t inputs, std::size_t outputs) {
    const Floats x = randomFloats(rows * inputs);
    const Floats weights = randomFloats(inputs * outputs);
    const Floats bias = randomFloats(outputs);
    const auto product = [&](const Kernels &kernels) {
        Floats y(rows * outputs);
        kernels.multiplyFloats({x.data(), rows, inputs, weights.data(), outputs, bias.data(), y.data()});
        return y;
    };
    compare("a product of floats", product(neonKernels), product(scalarKernels));
}

void compareAttention(std::size_t dimension, std::size_t heads, std::size_t rows) {
    const Floats query = randomFloats(dimension);
    const Floats keys = randomFloats(wholeBlocks(rows) * dimension);
    const Floats values = randomFloats(rows * dimension);
    const auto attended = [&](const Kernels &kernels) {
        Floats weights(wholeBlocks(rows));
        Floats y(dimension);
        kernels.attend(
            {query.data(), keys.data(), values.data(), rows, dimension, heads, weights.data(), y.data()});
        return y;
    };
    compare("attention", attended(neonKernels), attended(scalarKernels));
}

void compareRow(std::size_t count) {
    const Floats x = randomFloats(count);
    const Floats y = randomFloats(count);
    const Floats scale = randomFloats(count);
    const Floats bias = randomFloats(count);
    const auto normalized = [&](const Kernels &kernels) {
        Floats sum = x;
        kernels.addAndNormalize(sum.data(), y.data(), count, scale.data(), bias.data());
        return sum;
    };
    compare("a normalised row", normalized(neonKernels), normalized(scalarKernels));

    const auto remembered = [&](const Kernels &kernels) {
        Floats memory = scale;
        Floats output = y;
        kernels.remember(memory.data(), x.data(), output.data(), count);
        memory.insert(memory.end(), output.begin(), output.end());
        return memory;
    };
    compare("the recurrent unit", remembered(neonKernels), remembered(scalarKernels));

    const auto rectified = [&](const Kernels &kernels) {
        Floats row = x;
        kernels.rectify(row.data(), count);
        row.push_back(kernels.largest(x.data(), count));
        return row;
    };
    compare("a rectified row", rectified(neonKernels), rectified(scalarKernels));

    const auto quantized = [&](const Kernels &kernels) {
        Bytes q(count);
        Floats numbers{float(kernels.quantize(x.data(), count, 31.17F, q.data()))};
        std::ranges::copy(q, std::back_inserter(numbers));
        return numbers;
    };
    compare("a quantized row", quantized(neonKernels), quantized(scalarKernels));
}

} // namespace

int main() {
    for (const std::size_t inputs : Sizes{16, 48, 112, 256, 384, 1536, 2048}) {
        for (const std::size_t outputs : Sizes{1, 7, 15, 16, 17, 33, 100}) {
            for (const std::size_t rows : Sizes{1, 2, 3, 4, 5, 8, 23}) {
                compareProductOfBytes(rows, inputs, outputs, -127, 127);
                compareProductOfBytes(rows, inputs, outputs, 0, 127);
            }
        }
    }
    for (const int largest : {-127, 127})
        compareProductOfBytes(3, 8192, 16, largest, largest);
    for (const std::size_t outputs : Sizes{1, 16, 33, 100})
        compareProductOfFloats(3, 48, outputs);
    for (const std::size_t heads : Sizes{1, 8})
        for (const std::size_t dimension : Sizes{64, 96, 256, 384})
            for (const std::size_t rows : Sizes{1, 2, 15, 16, 17, 100})
                compareAttention(dimension, heads, rows);
    for (const std::size_t count : Sizes{16, 48, 256, 512, 1536})
        compareRow(count);
    std::printf("%zu comparisons, %zu differ\n", compared, different);
    return different == 0 ? 0 : 1;
}
