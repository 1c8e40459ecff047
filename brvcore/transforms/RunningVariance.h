#pragma once

#include <cmath>
#include <cstdint>

// Welford's recurrence, inline for the loops that live on it. BasicStatistics::VarianceIterative is its public form.
struct RunningVariance
{
    std::int64_t n = 0;
    double mean = 0.0;
    double m2 = 0.0;   // sum of squared deviations from the mean

    // A missing value changes nothing.
    void Add(double x)
    {
        if (std::isnan(x))
            return;
        n += 1;
        const double before = x - mean;
        mean += before / static_cast<double>(n);
        m2 += (x - mean) * before;
    }
};

// The standard deviation of n values with this sum of squared deviations; the divisor is 1 for a single value.
inline double StddevOfSquares(double m2, std::uint64_t n)
{
    return n == 0 ? 0.0 : std::sqrt(m2 / (n == 1 ? 1.0 : static_cast<double>(n - 1)));
}
