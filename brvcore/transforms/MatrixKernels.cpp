#define BRV_MATRIX_LANES 2
#define BRV_TILE_VECTORS 2
#define BRV_TILE_COLS 4
#include "brvcore/transforms/MatrixKernelsImpl.h"

#include <algorithm>
#include <cstddef>
#include <vector>

// Defined by MatrixKernelsAvx2.cpp and MatrixKernelsAvx512.cpp, where the build has them.
extern const MatrixKernels kMatrixKernelsAvx2;
extern const MatrixKernels kMatrixKernelsAvx512;

namespace
{

// A block of the left side stays in the second-level cache while the tiles of a block of the right side pass, each of
// which stays in the first-level cache. Sums that reach over several blocks rest in the output in between, in their
// order.
constexpr std::size_t kBlockDepth = 256;
constexpr std::size_t kBlockRows = 192;   // a multiple of the rows of every level's tile
constexpr std::size_t kBlockCols = 480;   // and of the columns
constexpr std::size_t kMaxTileRows = 24;
constexpr std::size_t kMaxTileCols = 8;

// Below this number of multiplications, copying the inputs costs more than it gains.
constexpr std::size_t kSmall = 8000;

constexpr std::size_t RoundUp(std::size_t n, std::size_t step)
{
    return (n + step - 1) / step * step;
}

// A part of a dimension.
struct Span
{
    std::size_t first;
    std::size_t count;
};

Span Block(std::size_t first, std::size_t step, std::size_t end)
{
    return {first, std::min(step, end - first)};
}

// Tile by tile, and in a tile row by row of the depth; rows that fill up the last tile are zero.
void PackLeft(const double* const* lhs, Span rows, Span depth, std::size_t tileRows, double* out)
{
    for (std::size_t first = 0; first < rows.count; first += tileRows)
    {
        const std::size_t count = std::min(tileRows, rows.count - first);
        for (std::size_t k = 0; k < depth.count; ++k, out += tileRows)
        {
            std::copy_n(lhs[depth.first + k] + rows.first + first, count, out);
            std::fill(out + count, out + tileRows, 0.0);
        }
    }
}

void PackRight(const double* const* rhs, Span cols, Span depth, std::size_t tileCols, double* out)
{
    for (std::size_t first = 0; first < cols.count; first += tileCols, out += depth.count * tileCols)
        for (std::size_t c = 0; c < tileCols; ++c)
        {
            const bool isInside = first + c < cols.count;
            const double* const from = isInside ? rhs[cols.first + first + c] + depth.first : nullptr;
            for (std::size_t k = 0; k < depth.count; ++k)
                out[k * tileCols + c] = isInside ? from[k] : 0.0;
        }
}

// A tile that reaches over the edge of the output: computed aside, and what lies inside is copied.
void MultiplyEdgeTile(const MatrixKernels& kernels, const double* a, const double* b, std::size_t depth, bool isFirst,
    double* const* out, Span rows, Span cols)
{
    double cells[kMaxTileRows * kMaxTileCols] = {};
    double* columns[kMaxTileCols];
    for (std::size_t c = 0; c < kernels.tileCols; ++c)
        columns[c] = cells + c * kernels.tileRows;
    for (std::size_t c = 0; c < cols.count; ++c)
        std::copy_n(out[cols.first + c] + rows.first, isFirst ? 0 : rows.count, columns[c]);
    kernels.multiplyTile(a, b, depth, isFirst, columns);
    for (std::size_t c = 0; c < cols.count; ++c)
        std::copy_n(columns[c], rows.count, out[cols.first + c] + rows.first);
}

// The cells of a block of rows and a block of columns, over one block of the depth.
void MultiplyBlock(const MatrixKernels& kernels, const double* left, const double* right, std::size_t depth,
    bool isFirst, double* const* out, Span rows, Span cols)
{
    for (std::size_t c = 0; c < cols.count; c += kernels.tileCols, right += depth * kernels.tileCols)
    {
        const Span tileCols = Block(cols.first + c, kernels.tileCols, cols.first + cols.count);
        const double* a = left;
        for (std::size_t r = 0; r < rows.count; r += kernels.tileRows, a += depth * kernels.tileRows)
        {
            const Span tileRows = Block(rows.first + r, kernels.tileRows, rows.first + rows.count);
            if (tileRows.count < kernels.tileRows || tileCols.count < kernels.tileCols)
            {
                MultiplyEdgeTile(kernels, a, right, depth, isFirst, out, tileRows, tileCols);
                continue;
            }
            double* columns[kMaxTileCols];
            for (std::size_t i = 0; i < kernels.tileCols; ++i)
                columns[i] = out[tileCols.first + i] + tileRows.first;
            kernels.multiplyTile(a, right, depth, isFirst, columns);
        }
    }
}

}   // namespace

void MultiplyMatrices(const MatrixKernels& kernels, const double* const* lhs, std::size_t rows, std::size_t depth,
    const double* const* rhs, std::size_t cols, double* const* out)
{
    if (static_cast<double>(rows) * static_cast<double>(cols) * static_cast<double>(depth) <= kSmall)
    {
        for (std::size_t c = 0; c < cols; ++c)
        {
            std::fill_n(out[c], rows, 0.0);
            for (std::size_t k = 0; k < depth; ++k)
                kernels.addProduct(out[c], lhs[k], rhs[c][k], rows);
        }
        return;
    }

    const std::size_t maxDepth = std::min(depth, kBlockDepth);
    std::vector<double> left(maxDepth * RoundUp(std::min(rows, kBlockRows), kernels.tileRows));
    std::vector<double> right(maxDepth * RoundUp(std::min(cols, kBlockCols), kernels.tileCols));
    for (std::size_t firstCol = 0; firstCol < cols; firstCol += kBlockCols)
        for (std::size_t k = 0; k < depth; k += kBlockDepth)
        {
            const Span blockCols = Block(firstCol, kBlockCols, cols);
            const Span blockDepth = Block(k, kBlockDepth, depth);
            PackRight(rhs, blockCols, blockDepth, kernels.tileCols, right.data());
            for (std::size_t firstRow = 0; firstRow < rows; firstRow += kBlockRows)
            {
                const Span blockRows = Block(firstRow, kBlockRows, rows);
                PackLeft(lhs, blockRows, blockDepth, kernels.tileRows, left.data());
                MultiplyBlock(kernels, left.data(), right.data(), blockDepth.count, k == 0, out, blockRows, blockCols);
            }
        }
}

const MatrixKernels* MatrixKernelsOfLevel(int level)
{
    if (level == 0)
        return &kKernels;
#ifdef BRV_MATRIX_X86
    if (level == 1 && __builtin_cpu_supports("avx2"))
        return &kMatrixKernelsAvx2;
    if (level == 2 && __builtin_cpu_supports("avx512f"))
        return &kMatrixKernelsAvx512;
#endif
    return nullptr;
}

const MatrixKernels& BestMatrixKernels()
{
    static const MatrixKernels* const kBest = []
    {
        int level = 2;
        while (MatrixKernelsOfLevel(level) == nullptr)
            --level;
        return MatrixKernelsOfLevel(level);
    }();
    return *kBest;
}
