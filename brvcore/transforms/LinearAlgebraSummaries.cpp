#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"
#include "brvcore/transforms/MatrixPasses.h"
#include "brvcore/transforms/RunningVariance.h"

// Sums, means, ranges and deviations of all rows or columns of a matrix.
namespace LinearAlgebra
{

void Matrix::RowSums(std::vector<double>& out, const Matrix& m)
{
    out.resize(m.GetNumRows());
    const auto add = BestMatrixKernels().add;
    AccumulateRows(out.data(), m,
        [&](double* sum, const double* column, std::uint64_t, std::uint64_t count) { add(sum, sum, column, count); });
}

void Matrix::ColSums(std::vector<double>& out, const Matrix& m)
{
    out.resize(m.GetNumCols());
    ForColumnLanes(m, [&](const double* const* columns, std::size_t count, std::size_t first)
        { BestMatrixKernels().sums(columns, count, m.GetNumRows(), out.data() + first); });
}

void Matrix::RowMeans(std::vector<double>& out, const Matrix& m)
{
    out.resize(m.GetNumRows());
    const auto updateMeans = BestMatrixKernels().updateMeans;
    AccumulateRows(out.data(), m,
        [&](double* mean, const double* column, std::uint64_t c, std::uint64_t count)
        { updateMeans(mean, column, static_cast<double>(c + 1), count); });
}

void Matrix::ColMeans(std::vector<double>& out, const Matrix& m)
{
    out.resize(m.GetNumCols());
    ForColumnLanes(m, [&](const double* const* columns, std::size_t count, std::size_t first)
        { BestMatrixKernels().means(columns, count, m.GetNumRows(), out.data() + first); });
}

void Matrix::ColRanges(std::vector<Range>& out, const Matrix& m)
{
    out.resize(m.GetNumCols());
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        out[c] = CalculateRange(m.m_columns[c], false);
}

void Matrix::ColMeanStddevs(std::vector<MeanStddev>& out, const Matrix& m)
{
    out.resize(m.GetNumCols());
    std::vector<double> means(m.GetNumCols());
    std::vector<double> m2(m.GetNumCols());
    ForColumnLanes(m, [&](const double* const* columns, std::size_t count, std::size_t first)
        { BestMatrixKernels().variances(columns, count, m.GetNumRows(), means.data() + first, m2.data() + first); });
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        out[c] = {means[c], StddevOfSquares(m2[c], m.GetNumRows())};
}

}   // namespace LinearAlgebra
