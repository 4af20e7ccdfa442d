// What all instruction sets share: included by the file of each, and compiled there for it. Nothing in here
// may have external linkage, nor use what has (not even an inline function of the standard library): the
// linker would keep one of the copies, and run a newer processor's on an older one.
#pragma once

#include "platform/linux/translation/neural/kernels/Kernels.h"

namespace quillora::neural {

namespace {

// Floats are added up in 16 lanes, whatever the registers hold: four of them, two or one. The order of
// additions, and so each bit of the result, is the same everywhere.
constexpr std::size_t lanes = 16;
using Lanes = float __attribute__((vector_size(64)));
using IntLanes = std::int32_t __attribute__((vector_size(64)));
using ByteLanes = std::int8_t __attribute__((vector_size(16)));

#define INLINE [[gnu::always_inline]] inline

INLINE void load(Lanes &to, const float *from) { __builtin_memcpy(&to, from, sizeof to); }
INLINE void store(float *to, const Lanes &from) { __builtin_memcpy(to, &from, sizeof from); }
INLINE void fill(Lanes &to, float value) { to = Lanes{} + value; }

/// Picks lane by lane; false for a comparison with what is no number.
INLINE void select(Lanes &to, const IntLanes &condition, const Lanes &yes, const Lanes &no) {
    to = (Lanes)((condition & (IntLanes)yes) | (~condition & (IntLanes)no));
}

INLINE void bound(Lanes &x, float low, float high) {
    Lanes limit;
    fill(limit, high);
    select(x, x < limit, x, limit);
    fill(limit, low);
    select(x, x > limit, x, limit);
}

INLINE float total(const Lanes &x) {
    float sums[lanes];
    __builtin_memcpy(sums, &x, sizeof sums);
    for (std::size_t width = lanes / 2; width > 0; width /= 2)
        for (std::size_t i = 0; i < width; ++i)
            sums[i] += sums[i + width];
    return sums[0];
}

/// Adding it moves a float's integer part to its lowest bits, rounded to nearest even.
constexpr float roundingMagic = 12582912.0F; // 1.5 · 2^23

/// exp within two units in the last place, for what is no larger than 0 or not much; below -87 it gives
/// 1e-38.
INLINE void exponential(Lanes &x) {
    bound(x, -87.0F, 88.0F);
    const Lanes shifted = x * 1.44269504088896341F + roundingMagic;
    const Lanes power = shifted - roundingMagic;
    const Lanes rest = x - power * 0.693359375F + power * 2.12194440e-4F; // ln 2 in two parts
    Lanes series;
    fill(series, 1.9875691500e-4F);
    series = series * rest + 1.3981999507e-3F;
    series = series * rest + 8.3334519073e-3F;
    series = series * rest + 4.1665795894e-2F;
    series = series * rest + 1.6666665459e-1F;
    series = series * rest + 5.0000001201e-1F;
    series = series * rest * rest + rest + 1.0F;
    x = (Lanes)((IntLanes)series + ((IntLanes)shifted << 23));
}

template <class Sums, std::size_t Rows>
INLINE void multiplyBlock(const Int8Product &p, std::size_t output, std::size_t row) {
    alignas(64) std::int32_t sums[Rows][blockOutputs];
    Sums::template of<Rows>(p, p.x + row * p.inputs, p.total + row, p.weights + output * p.inputs, sums);
    const std::size_t count = p.outputs - output;
    for (std::size_t r = 0; r < Rows; ++r) {
        IntLanes integers;
        __builtin_memcpy(&integers, sums[r], sizeof integers);
        Lanes y = __builtin_convertvector(integers, Lanes) * p.unit[row + r];
        if (p.bias != nullptr) {
            Lanes bias;
            load(bias, p.bias + output);
            y += bias;
        }
        float *to = p.y + (row + r) * p.outputs + output;
        if (count >= blockOutputs)
            store(to, y);
        else
            __builtin_memcpy(to, &y, count * sizeof(float));
    }
}

template <class Sums, std::size_t Rows>
INLINE void multiplyRows(const Int8Product &p, std::size_t output, std::size_t row) {
    for (; row + Rows <= p.rows; row += Rows)
        multiplyBlock<Sums, Rows>(p, output, row);
    if constexpr (Rows > 1)
        multiplyRows<Sums, Rows / 2>(p, output, row);
}

/// `Sums` says how many rows it takes at a time, and computes their sums for a column of blocks.
template <class Sums>
void multiplyInt8(const Int8Product &p) {
    for (std::size_t output = 0; output < p.outputs; output += blockOutputs)
        multiplyRows<Sums, Sums::rows>(p, output, 0);
}

void multiplyFloats(const FloatProduct &p) {
    for (std::size_t row = 0; row < p.rows; ++row) {
        const float *x = p.x + row * p.inputs;
        float *y = p.y + row * p.outputs;
        for (std::size_t output = 0; output < p.outputs; ++output)
            y[output] = p.bias == nullptr ? 0 : p.bias[output];
        for (std::size_t input = 0; input < p.inputs; ++input) {
            const float *weights = p.weights + input * p.outputs;
            for (std::size_t output = 0; output < p.outputs; ++output)
                y[output] += x[input] * weights[output];
        }
    }
}

float largest(const float *x, std::size_t count) {
    float result = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float magnitude = x[i] < 0 ? -x[i] : x[i];
        result = magnitude > result ? magnitude : result;
    }
    return result;
}

std::int32_t quantize(const float *x, std::size_t count, float multiplier, std::int8_t *q) {
    IntLanes sum{};
    for (std::size_t i = 0; i < count; i += lanes) {
        Lanes scaled;
        load(scaled, x + i);
        scaled *= multiplier;
        bound(scaled, -127, 127);
        const IntLanes integers = __builtin_convertvector((scaled + roundingMagic) - roundingMagic, IntLanes);
        sum += integers;
        const ByteLanes bytes = __builtin_convertvector(integers, ByteLanes);
        __builtin_memcpy(q + i, &bytes, sizeof bytes);
    }
    std::int32_t result = 0;
    for (std::size_t lane = 0; lane < lanes; ++lane)
        result += sum[lane];
    return result;
}

/// x = exp(x - largest), divided by the sum of them all.
INLINE void softmax(float *x, std::size_t count) {
    float highest = x[0];
    for (std::size_t i = 1; i < count; ++i)
        highest = x[i] > highest ? x[i] : highest;
    float sum = 0;
    for (std::size_t i = 0; i < count; i += lanes) {
        const std::size_t here = count - i < lanes ? count - i : lanes;
        Lanes value{};
        __builtin_memcpy(&value, x + i, here * sizeof(float));
        value -= highest;
        exponential(value);
        __builtin_memcpy(x + i, &value, here * sizeof(float));
    }
    for (std::size_t i = 0; i < count; ++i)
        sum += x[i];
    for (std::size_t i = 0; i < count; ++i)
        x[i] /= sum;
}

void attend(const Attention &a) {
    const std::size_t width = a.dimension / a.heads;
    const std::size_t stride = (a.rows + lanes - 1) / lanes * lanes;
    const float scale = 1.0F / __builtin_sqrtf(float(width));
    for (std::size_t begin = 0; begin < a.dimension; begin += width) {
        const float *query = a.query + begin;
        const float *keys = a.keys + begin * stride;
        for (std::size_t row = 0; row < stride; row += lanes) {
            Lanes products{};
            for (std::size_t i = 0; i < width; ++i) {
                Lanes key;
                load(key, keys + i * stride + row);
                products += key * query[i];
            }
            store(a.weights + row, products * scale);
        }
        softmax(a.weights, a.rows);

        const float *values = a.values + begin;
        float *y = a.y + begin;
        std::size_t i = 0;
        for (; i + lanes <= width; i += lanes) {
            Lanes sum{};
            for (std::size_t row = 0; row < a.rows; ++row) {
                Lanes value;
                load(value, values + row * a.dimension + i);
                sum += value * a.weights[row];
            }
            store(y + i, sum);
        }
        for (; i < width; ++i) {
            y[i] = 0;
            for (std::size_t row = 0; row < a.rows; ++row)
                y[i] += values[row * a.dimension + i] * a.weights[row];
        }
    }
}

void addAndNormalize(float *x, const float *y, std::size_t count, const float *scale, const float *bias) {
    Lanes sum{};
    for (std::size_t i = 0; i < count; i += lanes) {
        Lanes left;
        Lanes right;
        load(left, x + i);
        load(right, y + i);
        left += right;
        store(x + i, left);
        sum += left;
    }
    const float mean = total(sum) / float(count);
    Lanes squares{};
    for (std::size_t i = 0; i < count; i += lanes) {
        Lanes value;
        load(value, x + i);
        value -= mean;
        squares += value * value;
    }
    const float deviation = __builtin_sqrtf(total(squares) / float(count) + 1e-6F);
    for (std::size_t i = 0; i < count; ++i)
        x[i] = (x[i] - mean) / deviation * scale[i] + bias[i];
}

void rectify(float *x, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        x[i] = x[i] > 0 ? x[i] : 0;
}

void remember(float *memory, const float *forget, float *y, std::size_t count) {
    for (std::size_t i = 0; i < count; i += lanes) {
        Lanes gate;
        Lanes old;
        Lanes now;
        load(gate, forget + i);
        load(old, memory + i);
        load(now, y + i);
        gate = -gate;
        exponential(gate);
        gate = 1.0F / (1.0F + gate);
        old = gate * old + (1.0F - gate) * now;
        store(memory + i, old);
        select(now, old > Lanes{}, old, Lanes{});
        store(y + i, now);
    }
}

template <class Sums>
constexpr Kernels kernelsWith(const char *name) {
    return {name,   multiplyInt8<Sums>, multiplyFloats, largest, quantize,
            attend, addAndNormalize,    rectify,        remember};
}

} // namespace

} // namespace quillora::neural
