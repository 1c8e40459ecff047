#include "brvcore/transforms/StatsComputer.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/MedianBootstrap.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <boost/math/distributions/students_t.hpp>

StatsComputer::StatsComputer(std::vector<double> values, bool isSorted)
    : m_values(std::move(values)), m_isSorted(isSorted)
{
}

double StatsComputer::GetQuantile(double probability)
{
    EnsureSorted();
    return BasicStatistics::GetQuantile(m_values, probability);
}

double StatsComputer::GetQuantile(double numerator, double denominator)
{
    EnsureSorted();
    return BasicStatistics::GetQuantile(m_values, numerator, denominator);
}

double StatsComputer::GetPercentile(double percent)
{
    EnsureSorted();
    return BasicStatistics::GetPercentile(m_values, percent);
}

void StatsComputer::GetMomentsTwoPass(double& mean, double& variance, double& skewness, double& kurtosis) const
{
    BasicStatistics::GetMomentsTwoPass(m_values, mean, variance, skewness, kurtosis);
}

double StatsComputer::GetTCrit(double confidencePercent, int n)
{
    const double df = static_cast<double>(n) - 1.0;
    BRV_LOGIC_ASSERT(0x90FCA73B, df >= 1);
    const double probability = 1.0 - 0.5 * (1.0 - confidencePercent / 100.0);
    return boost::math::quantile(boost::math::students_t(df), probability);
}

double StatsComputer::GetMedianPrecision(double confidencePercent)
{
    if (m_values.size() < 3)
        return std::numeric_limits<double>::quiet_NaN();
    const double tCritical = GetTCrit(confidencePercent, static_cast<int>(m_values.size()));
    EnsureSorted();
    return tCritical * MedianBootstrapDeviation(m_values);
}

double StatsComputer::GetAveragePrecision(double confidencePercent) const
{
    if (m_values.size() < 2)
        return std::numeric_limits<double>::quiet_NaN();
    const double variance = BasicStatistics::variance(m_values, 0, true);
    const double tCritical = GetTCrit(confidencePercent, static_cast<int>(m_values.size()));
    return tCritical * std::sqrt(variance / static_cast<double>(m_values.size()));
}

void StatsComputer::EnsureSorted()
{
    if (m_isSorted)
        return;
    const auto missing =
        std::partition(m_values.begin(), m_values.end(), [](double value) { return !std::isnan(value); });
    std::sort(m_values.begin(), missing);
    m_isSorted = true;
}
