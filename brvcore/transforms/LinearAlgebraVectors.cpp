#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/LinearAlgebra.h"
#include "brvcore/transforms/MatrixKernels.h"
#include "brvcore/transforms/RunningVariance.h"

#include <algorithm>
#include <cmath>
#include <limits>

// The functions on plain vectors.

namespace LinearAlgebra
{

void RowMVectorToColMMatrix(const std::vector<std::vector<double>>& rows, Matrix& out)
{
    const std::size_t numCols = rows.empty() ? 0 : rows.front().size();
    for (const std::vector<double>& row : rows)
        BRV_LOGIC_ASSERT(0x7A0C4F31, row.size() == numCols);
    out = Matrix(rows.size(), numCols);
    for (std::size_t r = 0; r < rows.size(); ++r)
        for (std::size_t c = 0; c < numCols; ++c)
            out(r, c) = rows[r][c];
}

void ColMMatrixToRowMVector(const Matrix& m, std::vector<std::vector<double>>& out)
{
    out.resize(m.GetNumRows());
    for (std::uint64_t r = 0; r < m.GetNumRows(); ++r)
    {
        out[r].resize(m.GetNumCols());
        for (std::uint64_t c = 0; c < m.GetNumCols(); ++c)
            out[r][c] = m(r, c);
    }
}

Range CalculateRange(const std::vector<double>& v, bool exponentiate)
{
    if (v.empty())
        return {0.0, 0.0};
    double min = std::numeric_limits<double>::max();
    double max = -std::numeric_limits<double>::max();
    for (const double x : v)   // a comparison with NaN is false
    {
        min = x < min ? x : min;
        max = x > max ? x : max;
    }
    return exponentiate ? Range{std::exp(min), std::exp(max)} : Range{min, max};
}

MeanStddev ComputeMeanStddev(const std::vector<double>& v)
{
    RunningVariance variance;
    for (const double x : v)
        variance.Add(x);
    return {variance.mean, StddevOfSquares(variance.m2, v.size())};
}

void Center(std::vector<double>& v, const MeanStddev& ms)
{
    BestMatrixKernels().subtractValue(v.data(), v.data(), ms.first, v.size());
}

void Standardize(std::vector<double>& v, const MeanStddev& ms)
{
    if (ms.second > 0.0)
        BestMatrixKernels().standardize(v.data(), v.data(), ms.first, ms.second, v.size());
}

void Scale(std::vector<double>& v, double factor)
{
    if (factor > 0.0)
        BestMatrixKernels().multiplyValue(v.data(), v.data(), factor, v.size());
}

void ScalarMultiply(std::vector<double>& out, const std::vector<double>& a, const std::vector<double>& b)
{
    BRV_LOGIC_ASSERT(0x5E7CB85A, a.size() == b.size());
    out.resize(a.size());
    BestMatrixKernels().multiply(out.data(), a.data(), b.data(), a.size());
}

void ScalarMath(std::vector<double>& out, const std::vector<double>& in, double (*function)(double))
{
    out.resize(in.size());
    std::transform(in.begin(), in.end(), out.begin(), function);
}

}   // namespace LinearAlgebra
