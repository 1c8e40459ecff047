#pragma once

#include <cstddef>

// The L D L^T factorisation and solution behind BasicStatistics::symdet and symsol, for any indexable table of numbers:
// the public vectors of rows and the fixed arrays of the season search run the same operations in the same order.

constexpr double kSmallestPivot = 1e-15;   // below, the matrix does not count as positive definite

template <typename Rows> int FactoriseSymmetric(Rows& a, int n)
{
    const auto size = static_cast<std::size_t>(n < 0 ? 0 : n);
    for (std::size_t i = 0; i < size; ++i)
    {
        for (std::size_t j = 0; j < i; ++j)
        {
            double product = a[j][i];
            for (std::size_t m = 0; m < j; ++m)
                product -= a[i][m] * a[j][m];
            a[i][j] = product;
        }
        double pivot = a[i][i];
        for (std::size_t m = 0; m < i; ++m)
        {
            const double scaled = a[i][m] * a[m][m];   // a[m][m] is 1 / d_m by now: this is the entry of L
            pivot -= a[i][m] * scaled;
            a[i][m] = scaled;
        }
        if (pivot < kSmallestPivot)
            return static_cast<int>(i);
        a[i][i] = 1.0 / pivot;
    }
    return -1;
}

template <typename Rows, typename Right, typename Solution>
void SolveSymmetric(const Rows& a, const Right& b, Solution& x, int n)
{
    const auto size = static_cast<std::size_t>(n < 0 ? 0 : n);
    for (std::size_t i = 0; i < size; ++i)
    {
        double sum = b[i];
        for (std::size_t m = 0; m < i; ++m)
            sum -= a[i][m] * x[m];
        x[i] = sum;
    }
    for (std::size_t i = size; i-- > 0;)
    {
        double sum = x[i] * a[i][i];
        for (std::size_t m = i + 1; m < size; ++m)
            sum -= a[m][i] * x[m];
        x[i] = sum;
    }
}
