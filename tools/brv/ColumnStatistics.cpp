#include "ColumnStatistics.h"

#include "brvcore/transforms/StatsComputer.h"

#include <cmath>
#include <utility>

ColumnStatistics ComputeColumnStatistics(std::vector<double> values, std::size_t missing)
{
    ColumnStatistics result;
    result.count = values.size();
    result.missing = missing;
    StatsComputer computer(std::move(values), false);
    double variance = 0.0;
    computer.GetMomentsTwoPass(result.mean, variance, result.skewness, result.kurtosis);
    result.standardDeviation = std::sqrt(variance);
    result.meanPrecision = computer.GetAveragePrecision(kPrecisionConfidence);
    for (std::size_t i = 0; i < kDescribedPercents.size(); ++i)
        result.quantiles[i] = computer.GetPercentile(kDescribedPercents[i]);
    result.medianPrecision = computer.GetMedianPrecision(kPrecisionConfidence);
    return result;
}
