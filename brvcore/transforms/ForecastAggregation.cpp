#include "brvcore/transforms/ForecastAggregation.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace
{

template <class Amount>
std::vector<double> SumOf(const std::vector<double>& values, int firstPosition, int periodsPerViewPeriod, Amount amount)
{
    std::vector<double> sums;
    std::int64_t position = firstPosition;
    for (const double value : values)
    {
        const std::int64_t quotient = position / periodsPerViewPeriod;
        if (quotient >= 0)
        {
            const auto entry = static_cast<std::size_t>(quotient);
            if (entry >= sums.size())
                sums.resize(entry + 1, 0.0);
            sums[entry] += amount(value);
        }
        ++position;
    }
    return sums;
}

}   // namespace

std::vector<double> SumIntoViewPeriods(const std::vector<double>& values, int firstPosition, int periodsPerViewPeriod)
{
    return SumOf(values, firstPosition, periodsPerViewPeriod, [](double value) { return value; });
}

std::vector<double> CombineHalfWidths(
    const std::vector<double>& halfWidths, int firstPosition, int periodsPerViewPeriod)
{
    std::vector<double> combined =
        SumOf(halfWidths, firstPosition, periodsPerViewPeriod, [](double halfWidth) { return halfWidth * halfWidth; });
    for (double& value : combined)
        value = std::sqrt(value);
    return combined;
}
