#include "brvcore/transforms/BasicStatistics.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/SecureRandom.h"
#include "brvcore/transforms/OutlierBound.h"
#include "brvcore/transforms/QuantilePosition.h"
#include "brvcore/transforms/RunningVariance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();

// A running sum of squares that can no longer be trusted: wrapped below zero or at the end of the range.
bool IsExhausted(double sum)
{
    return sum < 0.0 || sum >= kLargest;
}

// Sums of the second to fourth powers of the deviations from the mean.
struct PowerSums
{
    double d2 = 0.0;
    double d3 = 0.0;
    double d4 = 0.0;
    bool secondHolds = true;
    bool fourthHolds = true;
};

PowerSums SumPowers(const std::vector<double>& values, double mean)
{
    PowerSums sums;
    for (const double x : values)
    {
        if (std::isnan(x))
            continue;
        const double d = x - mean;
        const double squared = d * d;
        sums.d2 += squared;
        if (IsExhausted(sums.d2))
        {
            sums.secondHolds = false;
            break;
        }
        if (!sums.fourthHolds)
            continue;
        const double cubed = squared * d;
        sums.d3 += cubed;
        sums.d4 += cubed * d;
        sums.fourthHolds = !IsExhausted(sums.d4);
    }
    return sums;
}

// The present values from an index on; a negative one counts as 0.
RunningVariance SpreadFrom(const std::vector<double>& values, int start)
{
    RunningVariance spread;
    for (std::size_t i = static_cast<std::size_t>(std::max(start, 0)); i < values.size(); ++i)
        spread.Add(values[i]);
    return spread;
}

// Uniform in [0, 1] from two 32-bit draws, low half first. Rounds to 1.0 for the very largest draws.
double DrawUnit(std::mt19937& generator)
{
    const auto low = static_cast<double>(static_cast<std::uint32_t>(generator()));
    const auto high = static_cast<double>(static_cast<std::uint32_t>(generator()));
    return (low + high * 0x1p32) * 0x1p-64;
}

}   // namespace

bool BasicStatistics::FuzzyEquals(double a, double b, double tol)
{
    return std::max(std::fabs(a), std::fabs(b)) * tol >= std::fabs(a - b);
}

bool BasicStatistics::IsInteger(double x, int& out, double tol)
{
    double nearest = 0.0;
    if (!std::isfinite(x) || !NearInteger(x, tol, nearest))
        return false;
    if (nearest < std::numeric_limits<int>::min() || nearest > std::numeric_limits<int>::max())
        return false;
    out = static_cast<int>(nearest);
    return true;
}

double BasicStatistics::GetQuantile(const std::vector<double>& sorted, double probability)
{
    BRV_LOGIC_ASSERT(0xFDD4CCAB, 0 <= probability && probability <= 1);
    if (sorted.empty())
        return kNaN;
    const QuantilePosition position = FindQuantile(sorted.size(), probability);
    const double value = sorted[position.lower];
    if (position.fraction == 0.0)
        return value;
    return value + position.fraction * (sorted[position.lower + 1] - value);
}

double BasicStatistics::GetQuantile(const std::vector<double>& sorted, double numerator, double denominator)
{
    return GetQuantile(sorted, numerator / denominator);
}

double BasicStatistics::GetPercentile(const std::vector<double>& sorted, double percent)
{
    return GetQuantile(sorted, percent / 100.0);
}

void BasicStatistics::GetMomentsTwoPass(
    const std::vector<double>& values, double& mean, double& variance, double& skewness, double& kurtosis)
{
    mean = variance = skewness = kurtosis = kNaN;
    if (values.empty())
        return;
    if (values.size() == 1)
    {
        mean = values.front();
        return;
    }

    const auto n = static_cast<double>(values.size());
    double sum = 0.0;
    for (const double x : values)
    {
        if (std::isnan(x))
            continue;
        sum += x;
        if (sum >= kLargest)
            return;
    }
    mean = sum / n;

    const PowerSums sums = SumPowers(values, mean);
    if (!sums.secondHolds)
        return;
    variance = sums.d2 / (n - 1.0);
    if (sums.d2 == 0.0 || !sums.fourthHolds)
        return;
    skewness = sums.d3 * std::sqrt(n) / std::pow(sums.d2, 1.5);
    const double ratio = n * sums.d4 / (sums.d2 * sums.d2);
    if (ratio >= 0.0)
        kurtosis = ratio - 3.0;   // excess over the normal distribution
}

double BasicStatistics::variance(const std::vector<double>& values, int start, bool sample)
{
    const RunningVariance spread = SpreadFrom(values, start);
    if (spread.n == 0)
        return kNaN;
    if (!sample)
        return spread.m2 / static_cast<double>(spread.n);
    return spread.n == 1 ? 0.0 : spread.m2 / static_cast<double>(spread.n - 1);
}

void BasicStatistics::VarianceIterative(double x, int& n, double& mean, double& m2)
{
    RunningVariance running{n, mean, m2};
    running.Add(x);
    n = static_cast<int>(running.n);
    mean = running.mean;
    m2 = running.m2;
}

void BasicStatistics::CovarianceIterative(double x, double y, int& n, double& meanX, double& meanY, double& cov)
{
    if (std::isnan(x) || std::isnan(y))
        return;
    const double k = n;
    n += 1;
    const double dx = (x - meanX) / n;
    meanX += dx;
    const double dy = (y - meanY) / n;
    meanY += dy;
    cov += k * dx * dy - cov / n;
}

double BasicStatistics::StandardErrorOfMean(const std::vector<double>& values, int start)
{
    return std::sqrt(variance(values, start, true) / static_cast<double>(values.size()));
}

double BasicStatistics::OutlierUpperBound(const std::vector<double>& values, double alpha)
{
    OutlierScratch scratch;
    return FindOutlierBound(values, alpha, scratch);
}

double BasicStatistics::SquaredEuclideanDistance(
    const std::vector<double>& a, const std::vector<double>& b, double weight)
{
    if (a.size() != b.size())
        return kNaN;
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        const double d = a[i] - b[i];
        sum += d * d;
    }
    return weight * sum;
}

double BasicStatistics::SquaredAdjustedPartialEuclideanDistance(
    const std::vector<double>& a, const std::vector<double>& b, double weight)
{
    if (a.size() != b.size())
        return kNaN;
    double sum = 0.0;
    std::size_t present = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        if (std::isnan(a[i]) || std::isnan(b[i]))
            continue;
        const double d = a[i] - b[i];
        sum += d * d;
        ++present;
    }
    if (present == 0)
        return kNaN;
    return sum * (static_cast<double>(a.size()) / static_cast<double>(present)) * weight;
}

std::vector<std::vector<double>> BasicStatistics::ComputeRandomProjection(
    const std::vector<std::vector<double>>& rows, int dims)
{
    const auto columns = static_cast<std::size_t>(std::max(dims, 0));
    std::vector<std::vector<double>> projected(rows.size(), std::vector<double>(columns, 0.0));
    if (rows.empty())
        return projected;

    const double s = std::sqrt(static_cast<double>(rows.front().size()));
    std::mt19937 generator(static_cast<std::uint32_t>(SecureRandom::NextUInt64()));
    std::vector<double> direction(rows.front().size());
    for (std::size_t t = 0; t < columns; ++t)
    {
        for (double& r : direction)
        {
            const double u = DrawUnit(generator);
            r = u < 1.0 / (2.0 * s) ? s : u > 1.0 - 1.0 / s ? 0.0 : -s;
        }
        for (std::size_t row = 0; row < rows.size(); ++row)
        {
            const std::size_t length = std::min(direction.size(), rows[row].size());
            double sum = 0.0;
            for (std::size_t i = 0; i < length; ++i)
                sum += rows[row][i] * direction[i];
            projected[row][t] += sum;
        }
    }
    return projected;
}
