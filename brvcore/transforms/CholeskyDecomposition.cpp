#include "brvcore/transforms/CholeskyDecomposition.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/FactorPanel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace LinearAlgebra
{

namespace
{

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

bool IsMirrored(double upper, double lower)
{
    return std::bit_cast<std::uint64_t>(upper) == std::bit_cast<std::uint64_t>(lower) && !std::isnan(upper);
}

double LargestDiagonal(const Matrix& a)
{
    double largest = -1.0;
    for (std::uint64_t j = 0; j < a.GetNumRows(); ++j)
        if (largest < a(j, j))
            largest = a(j, j);
    return largest;
}

}   // namespace

CholeskyDecomposition::CholeskyDecomposition(const Matrix& a) : m_size(a.GetNumRows())
{
    m_isValid = m_size > 0 && m_size == a.GetNumCols() && LargestDiagonal(a) >= kEpsilon && Factor(a);
    if (m_isValid)
        return;
    m_rank = 0;
    m_index.clear();
    m_factor = Matrix();
}

// Column j, the candidate for position r, with p the independent columns so far:
//
//     u_i = a[p_i][j] - sum over m < i of u_m F[m][i]                 i < r, in order
//     F[m][r] = u_m F[m][m]                                           the unit-triangular entry; F[m][m] is 1 / d_m
//     d = a[j][j] - sum over m < r of (u_m F[m][m]) u_m
//
// A panel of columns is taken at a time. The columns before the panel act on all of it at once, those of the panel one by
// one on the rest; either way every u_m subtracts its terms one after the other, m ascending.
// False when an independent column is not its row.
bool CholeskyDecomposition::Factor(const Matrix& a)
{
    const std::uint64_t n = m_size;
    const double smallestPivot = static_cast<double>(n) * kEpsilon;
    m_factor.SetSize(n, n);
    m_index.resize(n);
    std::uint64_t back = n;   // dependent columns stand from here on
    const std::vector<const double*> columns = ColumnPointers(m_factor, n);
    FactorPanel panel(n);
    const FactorKernel& kernel = panel.GetKernel();

    for (std::uint64_t first = 0; first < n; first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), n - first);
        panel.Load(
            a, m_rank, width, [&](std::size_t i) { return m_index[i]; }, [&](std::size_t k) { return first + k; });
        for (std::uint64_t i = 0; i < m_rank; ++i)
            if (!std::equal(panel.GetRow(i), panel.GetRow(i) + width, a.GetColumnData(m_index[i]) + first, IsMirrored))
                return false;
        kernel.forwardSubstitute(columns.data(), 0, m_rank, panel.GetRow(0));

        for (std::uint64_t lane = 0; lane < width; ++lane)
        {
            const std::uint64_t j = first + lane;
            const std::uint64_t r = m_rank;
            double* column = m_factor.GetColumnData(r);
            double pivot = a(j, j);
            for (std::uint64_t m = 0; m < r; ++m)
            {
                const double u = panel.GetRow(m)[lane];
                column[m] = u * m_factor(m, m);
                pivot -= column[m] * u;
            }
            if (!(pivot >= smallestPivot))
            {
                m_index[--back] = static_cast<std::uint32_t>(j);
                continue;
            }
            column[r] = 1.0 / pivot;
            m_index[r] = static_cast<std::uint32_t>(j);
            ++m_rank;

            double* row = panel.GetRow(r);
            std::fill_n(row, panel.GetLanes(), 0.0);
            for (std::uint64_t k = lane + 1; k < width; ++k)
            {
                row[k] = a(j, first + k);
                if (!IsMirrored(row[k], a(first + k, j)))
                    return false;
            }
            if (lane + 1 < width)
                kernel.forwardSubstitute(columns.data(), r, m_rank, panel.GetRow(0));
        }
    }
    return true;
}

Matrix CholeskyDecomposition::GetL() const
{
    Matrix l(m_size, m_size);
    for (std::uint64_t i = 0; i < m_rank; ++i)
    {
        const double root = 1.0 / std::sqrt(m_factor(i, i));
        l(i, i) = root;
        for (std::uint64_t row = i + 1; row < m_rank; ++row)
            l(row, i) = m_factor(i, row) * root;
    }
    return l;
}

Matrix CholeskyDecomposition::Solve(const Matrix& B) const
{
    const std::uint64_t n = m_size;
    BRV_LOGIC_ASSERT(0x5D8C1E07, n == B.GetNumRows());
    Matrix x(n, B.GetNumCols());
    if (m_rank == 0)
        return x;
    const std::vector<const double*> columns = ColumnPointers(m_factor, m_rank);
    const auto independent = [&](std::size_t i) { return m_index[i]; };
    FactorPanel panel(m_rank);
    const FactorKernel& kernel = panel.GetKernel();
    for (std::uint64_t first = 0; first < B.GetNumCols(); first += panel.GetLanes())
    {
        const std::uint64_t width = std::min<std::uint64_t>(panel.GetLanes(), B.GetNumCols() - first);
        const auto column = [&](std::size_t k) { return first + k; };
        panel.Load(B, m_rank, width, independent, column);
        kernel.forwardSubstitute(columns.data(), 0, m_rank, panel.GetRow(0));
        for (std::uint64_t i = 0; i < m_rank; ++i)
            for (std::uint64_t k = 0; k < width; ++k)
                panel.GetRow(i)[k] *= m_factor(i, i);
        kernel.backSubstitute(columns.data(), nullptr, m_rank, panel.GetRow(0));
        panel.Store(x, m_rank, width, independent, column);
    }
    return x;
}

std::vector<double> CholeskyDecomposition::Solve(const std::vector<double>& b) const
{
    const std::uint64_t n = m_size;
    BRV_LOGIC_ASSERT(0x91B3A46E, n == b.size());
    return ColumnToVector(Solve(VectorToColumn(b)));
}

Matrix CholeskyDecomposition::Inverse() const
{
    Matrix identity(m_size, m_size);
    for (std::uint64_t i = 0; i < m_size; ++i)
        identity(i, i) = 1.0;
    return Solve(identity);
}

}   // namespace LinearAlgebra
