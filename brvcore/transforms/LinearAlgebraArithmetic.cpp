#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"
#include "brvcore/transforms/VectorSize.h"

#include <algorithm>
#include <cmath>

// The operations of Matrix on each element, in pairs: in place, and into another matrix. Both check their arguments
// before they write, and share one loop over the columns, whose output may be its input.
namespace LinearAlgebra
{

namespace
{

using ElementLoop = void (*)(double* out, const double* a, const double* b, std::size_t n);
using ValueLoop = void (*)(double* out, const double* a, double value, std::size_t n);

// Column by column with the columns of `b`, whose single column serves all.
void ForColumns(ElementLoop loop, Matrix& out, const Matrix& a, const Matrix& b)
{
    for (std::uint64_t c = 0; c < a.GetNumCols(); ++c)
        loop(out.GetColumnData(c), a.GetColumnData(c), b.GetColumnData(b.GetNumCols() == 1 ? 0 : c), a.GetNumRows());
}

void ForColumns(ElementLoop loop, Matrix& out, const Matrix& a, const std::vector<double>& b)
{
    for (std::uint64_t c = 0; c < a.GetNumCols(); ++c)
        loop(out.GetColumnData(c), a.GetColumnData(c), b.data(), a.GetNumRows());
}

void ForColumns(ValueLoop loop, Matrix& out, const Matrix& a, double value)
{
    for (std::uint64_t c = 0; c < a.GetNumCols(); ++c)
        loop(out.GetColumnData(c), a.GetColumnData(c), value, a.GetNumRows());
}

// Column c with values[c].
void ForColumnsWithOwn(ValueLoop loop, Matrix& out, const Matrix& a, const std::vector<double>& values)
{
    for (std::uint64_t c = 0; c < a.GetNumCols(); ++c)
        loop(out.GetColumnData(c), a.GetColumnData(c), values[c], a.GetNumRows());
}

template <class Function> void ForElements(Matrix& out, const Matrix& a, Function function)
{
    for (std::uint64_t c = 0; c < a.GetNumCols(); ++c)
    {
        const double* const from = a.GetColumnData(c);
        std::transform(from, from + a.GetNumRows(), out.GetColumnData(c), function);
    }
}

void CenterColumns(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms)
{
    for (std::uint64_t c = 0; c < in.GetNumCols(); ++c)
        BestMatrixKernels().subtractValue(out.GetColumnData(c), in.GetColumnData(c), ms[c].first, in.GetNumRows());
}

void StandardizeColumns(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms)
{
    for (std::uint64_t c = 0; c < in.GetNumCols(); ++c)
    {
        const auto [mean, deviation] = ms[c];
        if (deviation > 0.0)
            BestMatrixKernels().standardize(
                out.GetColumnData(c), in.GetColumnData(c), mean, deviation, in.GetNumRows());
        else if (&out != &in)
            std::copy_n(in.GetColumnData(c), in.GetNumRows(), out.GetColumnData(c));
    }
}

}   // namespace

void Matrix::Add(const Matrix& rhs)
{
    const std::uint64_t numRows = m_rows;
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0x740534A0, numRows == rhs.GetNumRows());
    BRV_LOGIC_ASSERT(0xAC2B73E9, numCols == rhs.GetNumCols());
    ForColumns(BestMatrixKernels().add, *this, *this, rhs);
}

void Matrix::Add(Matrix& out, const Matrix& lhs, const Matrix& rhs)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    const std::uint64_t numCols = lhs.GetNumCols();
    BRV_LOGIC_ASSERT(0xCD5F5307, &out != &lhs);
    BRV_LOGIC_ASSERT(0x3EDA6095, &out != &rhs);
    BRV_LOGIC_ASSERT(0x6D037690, numRows == rhs.GetNumRows());
    BRV_LOGIC_ASSERT(0xE929EC42, numCols == rhs.GetNumCols());
    out.Reset(numRows, numCols);
    ForColumns(BestMatrixKernels().add, out, lhs, rhs);
}

void Matrix::Subtract(const Matrix& rhs)
{
    const std::uint64_t numRows = m_rows;
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0x914B7DFA, numRows == rhs.GetNumRows());
    BRV_LOGIC_ASSERT(0xC30676F8, numCols == rhs.GetNumCols());
    ForColumns(BestMatrixKernels().subtract, *this, *this, rhs);
}

void Matrix::Subtract(Matrix& out, const Matrix& lhs, const Matrix& rhs)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    const std::uint64_t numCols = lhs.GetNumCols();
    BRV_LOGIC_ASSERT(0x0EAACF87, &out != &lhs);
    BRV_LOGIC_ASSERT(0x4651B2C1, &out != &rhs);
    BRV_LOGIC_ASSERT(0x2EA5E381, numRows == rhs.GetNumRows());
    BRV_LOGIC_ASSERT(0xFF681D31, numCols == rhs.GetNumCols());
    out.Reset(numRows, numCols);
    ForColumns(BestMatrixKernels().subtract, out, lhs, rhs);
}

void Matrix::ScalarMultiply(double factor)
{
    ForColumns(BestMatrixKernels().multiplyValue, *this, *this, factor);
}

void Matrix::ScalarMultiply(Matrix& out, const Matrix& lhs, double factor)
{
    BRV_LOGIC_ASSERT(0x14D27EE8, &out != &lhs);
    out.Reset(lhs.GetNumRows(), lhs.GetNumCols());
    ForColumns(BestMatrixKernels().multiplyValue, out, lhs, factor);
}

void Matrix::ScalarMultiply(const Matrix& factor)
{
    const std::uint64_t numRows = m_rows;
    const std::uint64_t numCols = m_cols;
    const std::uint64_t factorNumCols = factor.GetNumCols();
    BRV_LOGIC_ASSERT(0x2959EC60, numRows == factor.GetNumRows());
    BRV_LOGIC_ASSERT(0xD2D73951, numCols == factorNumCols || 1 == factorNumCols);
    ForColumns(BestMatrixKernels().multiply, *this, *this, factor);
}

void Matrix::ScalarMultiply(Matrix& out, const Matrix& lhs, const Matrix& factor)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    const std::uint64_t numCols = lhs.GetNumCols();
    const std::uint64_t factorNumCols = factor.GetNumCols();
    BRV_LOGIC_ASSERT(0xCE0A3A58, &out != &lhs);
    BRV_LOGIC_ASSERT(0x1197489B, &out != &factor);
    BRV_LOGIC_ASSERT(0x472B4DB2, numRows == factor.GetNumRows());
    BRV_LOGIC_ASSERT(0x4E8D157A, numCols == factorNumCols || 1 == factorNumCols);
    out.Reset(numRows, numCols);
    ForColumns(BestMatrixKernels().multiply, out, lhs, factor);
}

void Matrix::ScalarMultiplyRowVector(const std::vector<double>& factor)
{
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0x531E36CF, numCols == tsize(factor));
    if (IsOwnColumn(factor))
        return ScalarMultiplyRowVector(std::vector<double>(factor));
    ForColumnsWithOwn(BestMatrixKernels().multiplyValue, *this, *this, factor);
}

void Matrix::ScalarMultiplyRowVector(Matrix& out, const Matrix& lhs, const std::vector<double>& factor)
{
    const std::uint64_t numCols = lhs.GetNumCols();
    BRV_LOGIC_ASSERT(0x48904298, &out != &lhs);
    BRV_LOGIC_ASSERT(0xB18870CD, !out.IsOwnColumn(factor));
    BRV_LOGIC_ASSERT(0xF307DC81, numCols == tsize(factor));
    out.Reset(lhs.GetNumRows(), numCols);
    ForColumnsWithOwn(BestMatrixKernels().multiplyValue, out, lhs, factor);
}

void Matrix::ScalarMultiplyColumnVector(const std::vector<double>& factor)
{
    const std::uint64_t numRows = m_rows;
    BRV_LOGIC_ASSERT(0x5E8CD2A8, numRows == tsize(factor));
    if (IsOwnColumn(factor))
        return ScalarMultiplyColumnVector(std::vector<double>(factor));
    ForColumns(BestMatrixKernels().multiply, *this, *this, factor);
}

void Matrix::ScalarMultiplyColumnVector(Matrix& out, const Matrix& lhs, const std::vector<double>& factor)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    BRV_LOGIC_ASSERT(0x734CE906, &out != &lhs);
    BRV_LOGIC_ASSERT(0x7158820F, !out.IsOwnColumn(factor));
    BRV_LOGIC_ASSERT(0xA589527C, numRows == tsize(factor));
    out.Reset(numRows, lhs.GetNumCols());
    ForColumns(BestMatrixKernels().multiply, out, lhs, factor);
}

void Matrix::ScalarDivide(double divisor)
{
    ForColumns(BestMatrixKernels().divideValue, *this, *this, divisor);
}

void Matrix::ScalarDivide(Matrix& out, const Matrix& lhs, double divisor)
{
    BRV_LOGIC_ASSERT(0xFC463FF8, &out != &lhs);
    out.Reset(lhs.GetNumRows(), lhs.GetNumCols());
    ForColumns(BestMatrixKernels().divideValue, out, lhs, divisor);
}

void Matrix::ScalarDivide(const Matrix& divisor)
{
    const std::uint64_t numRows = m_rows;
    const std::uint64_t numCols = m_cols;
    const std::uint64_t divisorNumCols = divisor.GetNumCols();
    BRV_LOGIC_ASSERT(0x02DAE678, numRows == divisor.GetNumRows());
    BRV_LOGIC_ASSERT(0xB0FD6FB3, numCols == divisorNumCols || 1 == divisorNumCols);
    ForColumns(BestMatrixKernels().divide, *this, *this, divisor);
}

void Matrix::ScalarDivide(Matrix& out, const Matrix& lhs, const Matrix& divisor)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    const std::uint64_t numCols = lhs.GetNumCols();
    const std::uint64_t divisorNumCols = divisor.GetNumCols();
    BRV_LOGIC_ASSERT(0x71CA54B4, &out != &lhs);
    BRV_LOGIC_ASSERT(0x3CA687D5, &out != &divisor);
    BRV_LOGIC_ASSERT(0x58DA57A5, numRows == divisor.GetNumRows());
    BRV_LOGIC_ASSERT(0xDCA2DEC7, numCols == divisorNumCols || 1 == divisorNumCols);
    out.Reset(numRows, numCols);
    ForColumns(BestMatrixKernels().divide, out, lhs, divisor);
}

void Matrix::ScalarDivideRowVector(const std::vector<double>& divisor)
{
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0x3FF56599, numCols == tsize(divisor));
    if (IsOwnColumn(divisor))
        return ScalarDivideRowVector(std::vector<double>(divisor));
    ForColumnsWithOwn(BestMatrixKernels().divideValue, *this, *this, divisor);
}

void Matrix::ScalarDivideRowVector(Matrix& out, const Matrix& lhs, const std::vector<double>& divisor)
{
    const std::uint64_t numCols = lhs.GetNumCols();
    BRV_LOGIC_ASSERT(0xC7C059CC, &out != &lhs);
    BRV_LOGIC_ASSERT(0x7B8E7631, !out.IsOwnColumn(divisor));
    BRV_LOGIC_ASSERT(0xAA9997DF, numCols == tsize(divisor));
    out.Reset(lhs.GetNumRows(), numCols);
    ForColumnsWithOwn(BestMatrixKernels().divideValue, out, lhs, divisor);
}

void Matrix::ScalarDivideColumnVector(const std::vector<double>& divisor)
{
    const std::uint64_t numRows = m_rows;
    BRV_LOGIC_ASSERT(0x731475DE, numRows == tsize(divisor));
    if (IsOwnColumn(divisor))
        return ScalarDivideColumnVector(std::vector<double>(divisor));
    ForColumns(BestMatrixKernels().divide, *this, *this, divisor);
}

void Matrix::ScalarDivideColumnVector(Matrix& out, const Matrix& lhs, const std::vector<double>& divisor)
{
    const std::uint64_t numRows = lhs.GetNumRows();
    BRV_LOGIC_ASSERT(0x39CD48C1, &out != &lhs);
    BRV_LOGIC_ASSERT(0xD913EAA8, !out.IsOwnColumn(divisor));
    BRV_LOGIC_ASSERT(0x2DFF140B, numRows == tsize(divisor));
    out.Reset(numRows, lhs.GetNumCols());
    ForColumns(BestMatrixKernels().divide, out, lhs, divisor);
}

void Matrix::ScalarPower(double power)
{
    ForElements(*this, *this, [power](double x) { return std::pow(x, power); });
}

void Matrix::ScalarPower(Matrix& out, const Matrix& lhs, double power)
{
    BRV_LOGIC_ASSERT(0x3FB31A65, &out != &lhs);
    out.Reset(lhs.GetNumRows(), lhs.GetNumCols());
    ForElements(out, lhs, [power](double x) { return std::pow(x, power); });
}

void Matrix::ScalarMath(double (*function)(double))
{
    ForElements(*this, *this, function);
}

void Matrix::ScalarMath(Matrix& out, const Matrix& in, double (*function)(double))
{
    BRV_LOGIC_ASSERT(0x6B1FC12F, &out != &in);
    out.Reset(in.GetNumRows(), in.GetNumCols());
    ForElements(out, in, function);
}

void Matrix::Center(const std::vector<MeanStddev>& ms)
{
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0xC9FD0331, numCols == ms.size());
    CenterColumns(*this, *this, ms);
}

void Matrix::Center(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms)
{
    const std::uint64_t numCols = in.GetNumCols();
    BRV_LOGIC_ASSERT(0x3B3960CF, &out != &in);
    BRV_LOGIC_ASSERT(0x7E51DBE4, numCols == ms.size());
    out.Reset(in.GetNumRows(), numCols);
    CenterColumns(out, in, ms);
}

void Matrix::Standardize(const std::vector<MeanStddev>& ms)
{
    const std::uint64_t numCols = m_cols;
    BRV_LOGIC_ASSERT(0xE200D0B3, numCols == ms.size());
    StandardizeColumns(*this, *this, ms);
}

void Matrix::Standardize(Matrix& out, const Matrix& in, const std::vector<MeanStddev>& ms)
{
    const std::uint64_t numCols = in.GetNumCols();
    BRV_LOGIC_ASSERT(0x53E1043E, &out != &in);
    BRV_LOGIC_ASSERT(0xA1CC6AE7, numCols == ms.size());
    out.Reset(in.GetNumRows(), numCols);
    StandardizeColumns(out, in, ms);
}

}   // namespace LinearAlgebra
