#include "platform/linux/translation/neural/Matrix.h"

namespace quillora::neural {

void Multiplier::multiply(const Matrix &matrix, const float *x, std::size_t rows, float *y) {
    if (matrix.floats != nullptr) {
        m_kernels.multiplyFloats({x, rows, matrix.inputs, matrix.floats, matrix.outputs, matrix.bias, y});
        return;
    }

    m_quantized.resize(rows * matrix.inputs);
    m_units.resize(rows);
    m_totals.resize(rows);
    for (std::size_t row = 0; row < rows; ++row) {
        const float *from = x + row * matrix.inputs;
        float multiplier = matrix.inputMultiplier;
        if (multiplier == 0) {
            const float largest = m_kernels.largest(from, matrix.inputs);
            multiplier = largest > 0 ? 127 / largest : 1;
        }
        m_totals[row] =
            m_kernels.quantize(from, matrix.inputs, multiplier, m_quantized.data() + row * matrix.inputs);
        m_units[row] = 1 / (multiplier * matrix.multiplier);
    }
    m_kernels.multiplyInt8({m_quantized.data(), rows, matrix.inputs, m_units.data(), m_totals.data(),
                            matrix.bytes, matrix.outputs, matrix.bias, y, matrix.inputIsNeverNegative});
}

} // namespace quillora::neural
