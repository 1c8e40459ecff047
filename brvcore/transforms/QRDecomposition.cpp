#include "brvcore/transforms/QRDecomposition.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/FactorPanel.h"

#include <algorithm>
#include <cmath>

namespace LinearAlgebra
{

namespace
{

constexpr double kNegligibleNorm = 1e-7;   // absolute: callers scale their columns

std::size_t SameRow(std::size_t row)
{
    return row;
}

// Of a lane from a row on. No element over- or underflows on the way.
double RemainingNorm(FactorPanel& panel, std::size_t lane, std::uint64_t begin, std::uint64_t rows)
{
    double norm = 0.0;
    for (std::uint64_t i = begin; i < rows; ++i)
        norm = std::hypot(norm, panel.GetRow(i)[lane]);
    return norm;
}

}   // namespace

// The columns are visited in order. A panel of them is taken at a time: the reflections before the panel act on all of it
// at once, those found in the panel one by one on the rest. Dependent columns see every reflection as well, at the end.
QRDecomposition::QRDecomposition(const Matrix& a) : m_qr(a.GetNumRows(), a.GetNumCols())
{
    const std::uint64_t m = a.GetNumRows();
    const std::uint64_t n = a.GetNumCols();
    const std::vector<const double*> vectors = ColumnPointers(m_qr, n);
    std::vector<std::uint32_t> dependent;
    m_permutation.reserve(n);
    m_rDiagonal.reserve(std::min(m, n));
    FactorPanel panel(m);
    const FactorKernel& kernel = panel.GetKernel();

    for (std::uint64_t first = 0; first < n; first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), n - first);
        panel.Load(a, m, width, SameRow, [&](std::size_t k) { return first + k; });
        kernel.reflect(vectors.data(), 0, m_rank, m, panel.GetRow(0));
        for (std::uint64_t lane = 0; lane < width; ++lane)
        {
            double norm = RemainingNorm(panel, lane, m_rank, m);
            if (!(norm > kNegligibleNorm))
            {
                dependent.push_back(static_cast<std::uint32_t>(first + lane));
                continue;
            }
            if (panel.GetRow(m_rank)[lane] < 0.0)
                norm = -norm;   // no cancellation in the 1 + below
            double* column = m_qr.GetColumnData(m_rank);
            for (std::uint64_t i = 0; i < m_rank; ++i)
                column[i] = panel.GetRow(i)[lane];
            for (std::uint64_t i = m_rank; i < m; ++i)
                column[i] = panel.GetRow(i)[lane] / norm;
            column[m_rank] += 1.0;
            m_rDiagonal.push_back(-norm);
            m_permutation.push_back(static_cast<std::uint32_t>(first + lane));
            ++m_rank;
            if (lane + 1 < width)
                kernel.reflect(vectors.data(), m_rank - 1, m_rank, m, panel.GetRow(0));
        }
    }

    // Each moved to the end when it was visited, except the last one visited, which stays in front of them.
    if (!dependent.empty() && dependent.back() == n - 1)
        std::rotate(dependent.begin(), dependent.end() - 1, dependent.end());
    m_permutation.insert(m_permutation.end(), dependent.begin(), dependent.end());
    for (std::uint64_t first = m_rank; first < n; first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), n - first);
        panel.Load(a, m, width, SameRow, [&](std::size_t k) { return m_permutation[first + k]; });
        kernel.reflect(vectors.data(), 0, m_rank, m, panel.GetRow(0));
        panel.Store(m_qr, m_rank, width, SameRow, [&](std::size_t k) { return first + k; });   // below: negligible
    }
}

Matrix QRDecomposition::GetH() const
{
    Matrix h(m_qr.GetNumRows(), m_qr.GetNumCols());
    for (std::uint64_t c = 0; c < m_rank; ++c)
        std::copy(m_qr.GetColumnData(c) + c, m_qr.GetColumnData(c) + m_qr.GetNumRows(), h.GetColumnData(c) + c);
    return h;
}

Matrix QRDecomposition::GetR() const
{
    Matrix r(std::min(m_qr.GetNumRows(), m_qr.GetNumCols()), m_qr.GetNumCols());
    for (std::uint64_t c = 0; c < m_qr.GetNumCols(); ++c)
    {
        std::copy_n(m_qr.GetColumnData(c), std::min(c, m_rank), r.GetColumnData(c));
        if (c < m_rank)
            r(c, c) = m_rDiagonal[c];
    }
    return r;
}

Matrix QRDecomposition::GetQ() const
{
    const std::uint64_t m = m_qr.GetNumRows();
    Matrix q(m, std::min(m, m_qr.GetNumCols()));
    for (std::uint64_t c = 0; c < q.GetNumCols(); ++c)
        q(c, c) = 1.0;
    const std::vector<const double*> vectors = ColumnPointers(m_qr, m_rank);
    FactorPanel panel(m);
    for (std::uint64_t first = 0; first < q.GetNumCols(); first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), q.GetNumCols() - first);
        const auto column = [&](std::size_t k) { return first + k; };
        panel.Load(q, m, width, SameRow, column);
        // A reflection that starts below the ones of the panel does not change it.
        for (std::uint64_t k = std::min(m_rank, first + width); k-- > 0;)
            panel.GetKernel().reflect(vectors.data(), k, k + 1, m, panel.GetRow(0));
        panel.Store(q, m, width, SameRow, column);
    }
    return q;
}

Matrix QRDecomposition::Solve(const Matrix& B) const
{
    const std::uint64_t m = m_qr.GetNumRows();
    BRV_LOGIC_ASSERT(0x6F2A90D4, B.GetNumRows() == m);
    Matrix x(m_qr.GetNumCols(), B.GetNumCols());
    const std::vector<const double*> columns = ColumnPointers(m_qr, m_rank);
    FactorPanel panel(m);
    const FactorKernel& kernel = panel.GetKernel();
    for (std::uint64_t first = 0; first < B.GetNumCols(); first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), B.GetNumCols() - first);
        const auto column = [&](std::size_t k) { return first + k; };
        panel.Load(B, m, width, SameRow, column);
        kernel.reflect(columns.data(), 0, m_rank, m, panel.GetRow(0));
        kernel.backSubstitute(columns.data(), m_rDiagonal.data(), m_rank, panel.GetRow(0));
        panel.Store(
            x, m_rank, width, [&](std::size_t i) { return m_permutation[i]; }, column);
    }
    return x;
}

std::vector<double> QRDecomposition::Solve(const std::vector<double>& b) const
{
    const std::uint64_t m = m_qr.GetNumRows();
    BRV_LOGIC_ASSERT(0xC04E7B18, b.size() == m);
    return ColumnToVector(Solve(VectorToColumn(b)));
}

}   // namespace LinearAlgebra
