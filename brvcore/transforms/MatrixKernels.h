#pragma once

#include <cstddef>

// The loops of the dense matrix, compiled once per instruction level.
//
// A lane is an independent result: one element, one row or column of a sum, one cell of a product. Each lane does the
// operations of the plain loop in the same order with one rounding each, so every level gives the same bits (which of
// several NaN comes out is the processor's choice). An output of the element-wise loops may be one of their inputs.
struct MatrixKernels
{
    // out[i] = a[i] op b[i]
    void (*add)(double* out, const double* a, const double* b, std::size_t n);
    void (*subtract)(double* out, const double* a, const double* b, std::size_t n);
    void (*multiply)(double* out, const double* a, const double* b, std::size_t n);
    void (*divide)(double* out, const double* a, const double* b, std::size_t n);
    // out[i] = a[i] op value
    void (*subtractValue)(double* out, const double* a, double value, std::size_t n);
    void (*multiplyValue)(double* out, const double* a, double value, std::size_t n);
    void (*divideValue)(double* out, const double* a, double value, std::size_t n);
    // out[i] = (a[i] - mean) / deviation
    void (*standardize)(double* out, const double* a, double mean, double deviation, std::size_t n);
    // sum[i] += a[i] * factor
    void (*addProduct)(double* sum, const double* a, double factor, std::size_t n);
    // mean[i] += (a[i] - mean[i]) / count
    void (*updateMeans)(double* mean, const double* a, double count, std::size_t n);

    // Several columns side by side, each from its first row to its last: result[c] for c < columnCount <= columnLanes.
    std::size_t columnLanes;
    void (*sums)(const double* const* columns, std::size_t columnCount, std::size_t rows, double* result);
    void (*sumsOfProducts)(
        const double* const* columns, std::size_t columnCount, const double* factors, std::size_t rows, double* result);
    void (*means)(const double* const* columns, std::size_t columnCount, std::size_t rows, double* result);
    // Welford's recurrence of the values that are not NaN, as RunningVariance: mean and sum of squared deviations.
    void (*variances)(
        const double* const* columns, std::size_t columnCount, std::size_t rows, double* mean, double* m2);

    // One tile of a product: tileRows x tileCols cells, out[c][r] += a(r, k) * b(k, c) for k = 0 ... depth - 1, where a
    // holds tileRows values per k and b holds tileCols. The first tile in the depth starts from zero instead of `out`.
    std::size_t tileRows;
    std::size_t tileCols;
    void (*multiplyTile)(const double* a, const double* b, std::size_t depth, bool isFirst, double* const* out);
};

// The widest kernels that this processor runs.
const MatrixKernels& BestMatrixKernels();

// The kernels of one instruction level, or null when the processor or the build has none: 0 the baseline of the target,
// 1 AVX2, 2 AVX-512. For tests and benchmarks.
const MatrixKernels* MatrixKernelsOfLevel(int level);

// out = lhs * rhs, given by their columns; out's columns are overwritten and are none of the inputs'. Needs work space
// of less than 2 MB.
void MultiplyMatrices(const MatrixKernels& kernels, const double* const* lhs, std::size_t rows, std::size_t depth,
    const double* const* rhs, std::size_t cols, double* const* out);
