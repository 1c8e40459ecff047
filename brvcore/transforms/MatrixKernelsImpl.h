// The loops of MatrixKernels.h, compiled once per instruction level. The including file defines BRV_MATRIX_LANES, the
// doubles in a vector of the level, BRV_TILE_VECTORS and BRV_TILE_COLS, and is built with the level's flags.
//
// Everything here is private to the including file and calls no inline function of another header: the linker keeps one
// copy of such a function for the whole library, and must not keep one that an older processor cannot run.

#include "brvcore/transforms/MatrixKernels.h"

#include <utility>   // index_sequence, which has no code

namespace
{

using std::size_t;

constexpr size_t kLanes = BRV_MATRIX_LANES;
using Lanes = double __attribute__((vector_size(kLanes * sizeof(double))));

inline __attribute__((always_inline)) Lanes Load(const double* from)
{
    Lanes values;
    __builtin_memcpy(&values, from, sizeof values);   // one instruction, whatever the alignment
    return values;
}

inline __attribute__((always_inline)) void Store(double* to, Lanes values)
{
    __builtin_memcpy(to, &values, sizeof values);
}

// Element-wise -------------------------------------------------------------------------------------------------------

void Add(double* out, const double* a, const double* b, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] + b[i];
}

void Subtract(double* out, const double* a, const double* b, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] - b[i];
}

void Multiply(double* out, const double* a, const double* b, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] * b[i];
}

void Divide(double* out, const double* a, const double* b, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] / b[i];
}

void SubtractValue(double* out, const double* a, double value, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] - value;
}

void MultiplyValue(double* out, const double* a, double value, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] * value;
}

void DivideValue(double* out, const double* a, double value, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = a[i] / value;
}

void Standardize(double* out, const double* a, double mean, double deviation, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        out[i] = (a[i] - mean) / deviation;
}

void AddProduct(double* sum, const double* a, double factor, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        sum[i] += a[i] * factor;
}

void UpdateMeans(double* mean, const double* a, double count, size_t n)
{
#pragma omp simd
    for (size_t i = 0; i < n; ++i)
        mean[i] += (a[i] - mean[i]) / count;
}

// Columns side by side -----------------------------------------------------------------------------------------------

constexpr size_t kMaxGroups = 4;   // vectors of columns at a time: enough to hide the latency of a division
constexpr size_t kColumnLanes = kMaxGroups * kLanes;
constexpr size_t kStageRows = 64;

// Swaps the upper right and lower left corner of every square of 2 * kStep lanes in rows a and b, kStep apart.
template <size_t kStep, size_t... kLane>
inline __attribute__((always_inline)) void SwapCorners(Lanes& a, Lanes& b, std::index_sequence<kLane...>)
{
    const Lanes upper = __builtin_shufflevector(a, b, ((kLane & kStep) != 0 ? kLanes + kLane - kStep : kLane)...);
    b = __builtin_shufflevector(a, b, ((kLane & kStep) != 0 ? kLanes + kLane : kLane + kStep)...);
    a = upper;
}

template <size_t kStep> inline __attribute__((always_inline)) void TransposeBySteps(Lanes* rows)
{
    for (size_t r = 0; r < kLanes; ++r)
        if ((r & kStep) == 0)
            SwapCorners<kStep>(rows[r], rows[r + kStep], std::make_index_sequence<kLanes>());
    if constexpr (kStep > 1)
        TransposeBySteps<kStep / 2>(rows);
}

// The next rows of the columns, one row after another: the rows of a block are vectors of lanes.
template <size_t kGroups> struct ColumnBlock
{
    static constexpr size_t kWidth = kGroups * kLanes;

    alignas(64) double values[kStageRows * kWidth];

    Lanes Row(size_t row, size_t group) const { return Load(values + row * kWidth + group * kLanes); }

    // Lanes beyond the last column repeat it; nobody reads their results. The next block is fetched in the meantime:
    // the processor by itself does not follow as many columns. Fetching behind the end of a column does no harm.
    void Fill(const double* const* columns, size_t columnCount, size_t firstRow, size_t rowCount)
    {
        const size_t wholeRows = rowCount / kLanes * kLanes;
        for (size_t group = 0; group < kWidth; group += kLanes)
        {
            const double* from[kLanes];
            for (size_t c = 0; c < kLanes; ++c)
                from[c] = columns[group + c < columnCount ? group + c : columnCount - 1] + firstRow;
            for (size_t r = 0; r < wholeRows; r += kLanes)
            {
                Lanes square[kLanes];
                for (size_t c = 0; c < kLanes; ++c)
                {
                    square[c] = Load(from[c] + r);
                    __builtin_prefetch(from[c] + r + kStageRows, 0, 2);
                }
                TransposeBySteps<kLanes / 2>(square);
                for (size_t i = 0; i < kLanes; ++i)
                    Store(values + (r + i) * kWidth + group, square[i]);
            }
            for (size_t r = wholeRows; r < rowCount; ++r)
                for (size_t c = 0; c < kLanes; ++c)
                    values[r * kWidth + group + c] = from[c][r];
        }
    }
};

inline __attribute__((always_inline)) void StoreLanes(const Lanes* from, size_t count, double* to)
{
    for (size_t c = 0; c < count; ++c)
        to[c] = from[c / kLanes][c % kLanes];
}

// Without factors the plain sums.
template <size_t kGroups>
void AccumulateSums(
    const double* const* columns, size_t columnCount, const double* factors, size_t rows, double* result)
{
    ColumnBlock<kGroups> block;
    Lanes sum[kGroups] = {};
    for (size_t first = 0; first < rows; first += kStageRows)
    {
        const size_t count = rows - first < kStageRows ? rows - first : kStageRows;
        block.Fill(columns, columnCount, first, count);
        for (size_t r = 0; r < count; ++r)
            for (size_t g = 0; g < kGroups; ++g)
                sum[g] += factors == nullptr ? block.Row(r, g) : factors[first + r] * block.Row(r, g);
    }
    StoreLanes(sum, columnCount, result);
}

template <size_t kGroups>
void AccumulateMeans(const double* const* columns, size_t columnCount, size_t rows, double* result)
{
    ColumnBlock<kGroups> block;
    Lanes mean[kGroups] = {};
    for (size_t first = 0; first < rows; first += kStageRows)
    {
        const size_t count = rows - first < kStageRows ? rows - first : kStageRows;
        block.Fill(columns, columnCount, first, count);
        for (size_t r = 0; r < count; ++r)
        {
            const Lanes k = static_cast<double>(first + r + 1) - Lanes{};
            for (size_t g = 0; g < kGroups; ++g)
                mean[g] += (block.Row(r, g) - mean[g]) / k;
        }
    }
    StoreLanes(mean, columnCount, result);
}

template <size_t kGroups>
void AccumulateVariances(
    const double* const* columns, size_t columnCount, size_t rows, double* meanResult, double* m2Result)
{
    ColumnBlock<kGroups> block;
    Lanes n[kGroups] = {};
    Lanes mean[kGroups] = {};
    Lanes m2[kGroups] = {};
    for (size_t first = 0; first < rows; first += kStageRows)
    {
        const size_t count = rows - first < kStageRows ? rows - first : kStageRows;
        block.Fill(columns, columnCount, first, count);
        for (size_t r = 0; r < count; ++r)
            for (size_t g = 0; g < kGroups; ++g)
            {
                const Lanes x = block.Row(r, g);
                const auto isPresent = x == x;
                n[g] = isPresent ? n[g] + 1.0 : n[g];
                const Lanes before = x - mean[g];
                const Lanes after = mean[g] + before / n[g];
                const Lanes deviation = m2[g] + (x - after) * before;
                mean[g] = isPresent ? after : mean[g];
                m2[g] = isPresent ? deviation : m2[g];
            }
    }
    StoreLanes(mean, columnCount, meanResult);
    StoreLanes(m2, columnCount, m2Result);
}

void SumsOfProducts(
    const double* const* columns, size_t columnCount, const double* factors, size_t rows, double* result)
{
    using Pass = void (*)(const double* const*, size_t, const double*, size_t, double*);
    constexpr Pass kPasses[kMaxGroups] = {AccumulateSums<1>, AccumulateSums<2>, AccumulateSums<3>, AccumulateSums<4>};
    kPasses[(columnCount - 1) / kLanes](columns, columnCount, factors, rows, result);
}

void Sums(const double* const* columns, size_t columnCount, size_t rows, double* result)
{
    SumsOfProducts(columns, columnCount, nullptr, rows, result);
}

void Means(const double* const* columns, size_t columnCount, size_t rows, double* result)
{
    using Pass = void (*)(const double* const*, size_t, size_t, double*);
    constexpr Pass kPasses[kMaxGroups] = {
        AccumulateMeans<1>, AccumulateMeans<2>, AccumulateMeans<3>, AccumulateMeans<4>};
    kPasses[(columnCount - 1) / kLanes](columns, columnCount, rows, result);
}

void Variances(const double* const* columns, size_t columnCount, size_t rows, double* mean, double* m2)
{
    using Pass = void (*)(const double* const*, size_t, size_t, double*, double*);
    constexpr Pass kPasses[kMaxGroups] = {
        AccumulateVariances<1>, AccumulateVariances<2>, AccumulateVariances<3>, AccumulateVariances<4>};
    kPasses[(columnCount - 1) / kLanes](columns, columnCount, rows, mean, m2);
}

// Product ------------------------------------------------------------------------------------------------------------

constexpr size_t kTileVectors = BRV_TILE_VECTORS;
constexpr size_t kTileCols = BRV_TILE_COLS;
constexpr size_t kTileRows = kTileVectors * kLanes;

// All cells of the tile stay in registers, so that their independent sums hide the latency of the additions.
void MultiplyTile(const double* a, const double* b, size_t depth, bool isFirst, double* const* out)
{
    Lanes cells[kTileCols][kTileVectors];
    for (size_t c = 0; c < kTileCols; ++c)
        for (size_t v = 0; v < kTileVectors; ++v)
            cells[c][v] = isFirst ? Lanes{} : Load(out[c] + v * kLanes);
    for (size_t k = 0; k < depth; ++k, a += kTileRows, b += kTileCols)
    {
        Lanes rows[kTileVectors];
        for (size_t v = 0; v < kTileVectors; ++v)
            rows[v] = Load(a + v * kLanes);
        for (size_t c = 0; c < kTileCols; ++c)
            for (size_t v = 0; v < kTileVectors; ++v)
                cells[c][v] += rows[v] * b[c];
    }
    for (size_t c = 0; c < kTileCols; ++c)
        for (size_t v = 0; v < kTileVectors; ++v)
            Store(out[c] + v * kLanes, cells[c][v]);
}

constexpr MatrixKernels kKernels{Add, Subtract, Multiply, Divide, SubtractValue, MultiplyValue, DivideValue,
    Standardize, AddProduct, UpdateMeans, kColumnLanes, Sums, SumsOfProducts, Means, Variances, kTileRows, kTileCols,
    MultiplyTile};

}   // namespace
