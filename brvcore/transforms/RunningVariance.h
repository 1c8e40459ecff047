#pragma once

#include <cmath>

// Welford's recurrence, inline for the loops that live on it. BasicStatistics::VarianceIterative is its public form.
struct RunningVariance
{
    int n = 0;
    double mean = 0.0;
    double m2 = 0.0;   // sum of squared deviations from the mean

    // A missing value changes nothing.
    void Add(double x)
    {
        if (std::isnan(x))
            return;
        n += 1;
        const double before = x - mean;
        mean += before / n;
        m2 += (x - mean) * before;
    }
};
