#pragma once

#include <cmath>
#include <cstddef>

// Where a type-7 quantile lies among n ascending values: at one of them, or between two neighbours.
struct QuantilePosition
{
    std::size_t lower;   // zero-based index
    double fraction;     // 0: the value at `lower` itself; else the share of the way to the next one
};

// True when x is at most a relative `tol` from the nearest integer, which goes to `nearest`.
inline bool NearInteger(double x, double tol, double& nearest)
{
    const double floor = std::floor(x);
    const double ceil = std::ceil(x);
    nearest = ceil - x > x - floor ? floor : ceil;
    if (floor == ceil)
        return true;
    const double a = std::fabs(x);
    const double b = std::fabs(nearest);
    return (a < b ? b : a) * tol >= std::fabs(x - nearest);
}

// n > 0, 0 <= probability <= 1.
inline QuantilePosition FindQuantile(std::size_t n, double probability)
{
    constexpr double kSnap = 1e-8;   // rounding of (n - 1) p, relative, that still means "at a value"
    const double position = static_cast<double>(n - 1) * probability + 1.0;
    double nearest = 0.0;
    if (NearInteger(position, kSnap, nearest))
        return {static_cast<std::size_t>(nearest) - 1, 0.0};
    const double floor = std::floor(position);
    return {static_cast<std::size_t>(floor) - 1, position - floor};
}
