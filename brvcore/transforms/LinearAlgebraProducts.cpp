#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"
#include "brvcore/transforms/MatrixPasses.h"
#include "brvcore/transforms/VectorSize.h"

#include <algorithm>

// Products, rearrangements and copies of Matrix.
namespace LinearAlgebra
{

namespace
{

void MultiplyByColumn(double* out, const Matrix& m, const std::vector<double>& factors)
{
    const auto addProduct = BestMatrixKernels().addProduct;
    AccumulateRows(out, m,
        [&](double* sum, const double* column, std::uint64_t c, std::uint64_t count)
        { addProduct(sum, column, factors[c], count); });
}

}   // namespace

void Matrix::Transpose(Matrix& out, const Matrix& in)
{
    BRV_LOGIC_ASSERT(0xADBE0E03, &out != &in);
    out.Reset(in.GetNumCols(), in.GetNumRows());
    constexpr std::uint64_t kTile = 32;   // a tile of both sides stays in the first-level cache
    for (std::uint64_t firstRow = 0; firstRow < in.GetNumRows(); firstRow += kTile)
        for (std::uint64_t firstCol = 0; firstCol < in.GetNumCols(); firstCol += kTile)
        {
            const std::uint64_t endRow = std::min(firstRow + kTile, in.GetNumRows());
            const std::uint64_t endCol = std::min(firstCol + kTile, in.GetNumCols());
            for (std::uint64_t r = firstRow; r < endRow; ++r)
            {
                double* const to = out.GetColumnData(r);
                for (std::uint64_t c = firstCol; c < endCol; ++c)
                    to[c] = in(r, c);
            }
        }
}

void Matrix::Diagonal(Matrix& out, const Matrix& in)
{
    BRV_LOGIC_ASSERT(0x91DD729C, &out != &in);
    out.Reset(std::min(in.GetNumRows(), in.GetNumCols()), 1);
    for (std::uint64_t i = 0; i < out.GetNumRows(); ++i)
        out(i, 0) = in(i, i);
}

void Matrix::Diagonal(Matrix& out, const std::vector<double>& diagonal)
{
    BRV_LOGIC_ASSERT(0x165ED66D, !out.IsOwnColumn(diagonal));
    const std::uint64_t n = diagonal.size();
    out.Reset(n, n);
    for (std::uint64_t i = 0; i < n; ++i)
    {
        std::fill_n(out.GetColumnData(i), n, 0.0);
        out(i, i) = diagonal[i];
    }
}

void Matrix::Multiply(Matrix& out, const Matrix& lhs, const Matrix& rhs)
{
    BRV_LOGIC_ASSERT(0xCFA8171C, &out != &lhs);
    BRV_LOGIC_ASSERT(0xA7191F8F, &out != &rhs);
    BRV_LOGIC_ASSERT(0x646F794D, lhs.GetNumCols() == rhs.GetNumRows());
    out.Reset(lhs.GetNumRows(), rhs.GetNumCols());
    std::vector<double*> columns(out.GetNumCols());
    for (std::uint64_t c = 0; c < out.GetNumCols(); ++c)
        columns[c] = out.GetColumnData(c);
    MultiplyMatrices(BestMatrixKernels(), Columns(lhs).data(), lhs.GetNumRows(), lhs.GetNumCols(), Columns(rhs).data(),
        rhs.GetNumCols(), columns.data());
}

void Matrix::Multiply(Matrix& out, const Matrix& lhs, const std::vector<double>& rhs)
{
    const std::uint64_t numCols = lhs.GetNumCols();
    BRV_LOGIC_ASSERT(0xE2E05D0F, &out != &lhs);
    BRV_LOGIC_ASSERT(0xED912EF3, !out.IsOwnColumn(rhs));
    BRV_LOGIC_ASSERT(0xA3398B55, numCols == rhs.size());
    out.Reset(lhs.GetNumRows(), 1);
    MultiplyByColumn(out.GetColumnData(0), lhs, rhs);
}

void Matrix::MultiplyColumnVector(std::vector<double>& out, const Matrix& m, const std::vector<double>& in)
{
    const std::uint64_t numCols = m.GetNumCols();
    BRV_LOGIC_ASSERT(0x8AFEC6DF, &out != &in);
    BRV_LOGIC_ASSERT(0x464F52F5, numCols == in.size());
    out.resize(m.GetNumRows());
    MultiplyByColumn(out.data(), m, in);
}

void Matrix::MultiplyRowVector(std::vector<double>& out, const std::vector<double>& in, const Matrix& m)
{
    const std::uint64_t numRows = m.GetNumRows();
    BRV_LOGIC_ASSERT(0xA11B1A3F, &out != &in);
    BRV_LOGIC_ASSERT(0xB74BED0B, numRows == in.size());
    out.resize(m.GetNumCols());
    ForColumnLanes(m, [&](const double* const* columns, std::size_t count, std::size_t first)
        { BestMatrixKernels().sumsOfProducts(columns, count, in.data(), numRows, out.data() + first); });
}

void Matrix::Copy(Matrix& out, const std::vector<double>& in)
{
    const std::uint64_t outRows = out.GetNumRows();
    const std::uint64_t outCols = out.GetNumCols();
    BRV_LOGIC_ASSERT(0xFDFABD49, outRows <= tsize(in));
    BRV_LOGIC_ASSERT(0xE4322860, outCols == 1);
    std::copy_n(in.data(), outRows, out.GetColumnData(0));
}

void Matrix::Copy(Matrix& out, const Matrix& in)
{
    const std::uint64_t outRows = out.GetNumRows();
    const std::uint64_t outCols = out.GetNumCols();
    BRV_LOGIC_ASSERT(0x831DD12B, &out != &in);
    BRV_LOGIC_ASSERT(0x6615999A, outRows <= in.GetNumRows());
    BRV_LOGIC_ASSERT(0x1E3A2C63, outCols <= in.GetNumCols());
    for (std::uint64_t c = 0; c < outCols; ++c)
        std::copy_n(in.GetColumnData(c), outRows, out.GetColumnData(c));
}

void Matrix::Copy(std::vector<double>& out, const Matrix& in)
{
    BRV_LOGIC_ASSERT(0x70321C41, in.GetNumCols() == 1);
    out = in.m_columns.front();
}

}   // namespace LinearAlgebra
