#pragma once

#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"

#include <algorithm>

// Passes over a matrix, in the pieces that its kernels take.
namespace LinearAlgebra
{

inline std::vector<const double*> Columns(const Matrix& m)
{
    std::vector<const double*> columns(m.GetNumCols());
    for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
        columns[c] = m.GetColumnData(c);
    return columns;
}

// Rows whose sums stay in the first-level cache while the columns pass.
inline constexpr std::uint64_t kRowsInCache = 1024;

// Calls step(out, column, index, count) for every column in turn, on rows [first, first + count) of both, where out
// begins with zeros.
template <class Step> void AccumulateRows(double* out, const Matrix& m, Step step)
{
    for (std::uint64_t first = 0; first < m.GetNumRows(); first += kRowsInCache)
    {
        const std::uint64_t count = std::min(kRowsInCache, m.GetNumRows() - first);
        std::fill_n(out + first, count, 0.0);
        for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
            step(out + first, m.GetColumnData(c) + first, c, count);
    }
}

// Calls pass(columns, count, first) for as many columns at a time as the kernels take.
template <class Pass> void ForColumnLanes(const Matrix& m, Pass pass)
{
    const std::vector<const double*> columns = Columns(m);
    const std::size_t lanes = BestMatrixKernels().columnLanes;
    for (std::size_t first = 0; first < columns.size(); first += lanes)
        pass(columns.data() + first, std::min(lanes, columns.size() - first), first);
}

}   // namespace LinearAlgebra
