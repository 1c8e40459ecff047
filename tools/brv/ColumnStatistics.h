#pragma once

#include <array>
#include <cstddef>
#include <vector>

constexpr std::array kDescribedPercents = {0.0, 5.0, 25.0, 50.0, 75.0, 95.0, 100.0};
constexpr double kPrecisionConfidence = 95.0;   // percent

// Statistics of one column. NaN where there are too few values for one.
struct ColumnStatistics
{
    std::size_t count = 0;   // values that are not missing
    std::size_t missing = 0;
    double mean = 0.0;
    double standardDeviation = 0.0;   // of a sample
    double skewness = 0.0;
    double kurtosis = 0.0;                                       // excess
    std::array<double, kDescribedPercents.size()> quantiles{};   // type 7
    double meanPrecision = 0.0;                                  // half-widths of 95 % intervals
    double medianPrecision = 0.0;
};

// `values` without the missing ones. Polls cancellation.
ColumnStatistics ComputeColumnStatistics(std::vector<double> values, std::size_t missing);
