#include "brvcore/transforms/LinearAlgebra.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace LinearAlgebra
{

Matrix::Matrix(std::uint64_t rows, std::uint64_t cols)
{
    SetSize(rows, cols);
}

Matrix::Matrix(Matrix&& other) noexcept
    : m_columns(std::exchange(other.m_columns, {})), m_rows(std::exchange(other.m_rows, 0)),
      m_cols(std::exchange(other.m_cols, 0)), m_colNames(std::exchange(other.m_colNames, {}))
{
}

Matrix& Matrix::operator=(Matrix&& other) noexcept
{
    if (this != &other)
    {
        m_columns = std::exchange(other.m_columns, {});
        m_rows = std::exchange(other.m_rows, 0);
        m_cols = std::exchange(other.m_cols, 0);
        m_colNames = std::exchange(other.m_colNames, {});
    }
    return *this;
}

void Matrix::SetSize(std::uint64_t rows, std::uint64_t cols)
{
    Resize(rows, cols, 0.0);
}

void Matrix::Resize(std::uint64_t rows, std::uint64_t cols, double fill)
{
    constexpr std::uint64_t maxDimension = 0xFFFFFFFF;   // indices are kept in 32 bits
    BRV_LOGIC_ASSERT(0x2F20F2B5, rows <= maxDimension && cols <= maxDimension);
    if (cols != m_cols)
        m_colNames.clear();
    try
    {
        m_columns.resize(cols);
        for (std::vector<double>& column : m_columns)
            column.resize(rows, fill);
    }
    catch (...)   // memory ran out, and some columns may be longer than others
    {
        *this = Matrix();
        throw;
    }
    m_rows = rows;
    m_cols = cols;
}

void Matrix::Reset(std::uint64_t rows, std::uint64_t cols)
{
    SetSize(rows, cols);
    m_colNames.clear();
}

const std::vector<double>& Matrix::GetColumn(const TString& name) const
{
    static const std::vector<double> kNone;
    const auto found = std::ranges::find(m_colNames, name);
    return found == m_colNames.end() ? kNone : m_columns[static_cast<std::size_t>(found - m_colNames.begin())];
}

bool Matrix::IsOwnColumn(const std::vector<double>& v) const noexcept
{
    return std::ranges::any_of(m_columns, [&](const std::vector<double>& column) { return &column == &v; });
}

bool Matrix::FuzzyEqual(const Matrix& a, const Matrix& b, double tolerance)
{
    if (a.m_rows != b.m_rows || a.m_cols != b.m_cols)
        return false;
    constexpr double kSmallest = 0.001;   // below it the tolerance is absolute
    for (std::uint64_t c = 0; c < a.m_cols; ++c)
        for (std::uint64_t r = 0; r < a.m_rows; ++r)
        {
            const double x = a(r, c);
            const double y = b(r, c);
            const double t = std::max(std::abs(x), kSmallest) * tolerance;
            if (y > x + t || x - t > y)
                return false;
        }
    return true;
}

double Matrix::Sum() const
{
    double sum = 0.0;
    for (const std::vector<double>& column : m_columns)
        for (const double x : column)
            sum += x;
    return sum;
}

}   // namespace LinearAlgebra
