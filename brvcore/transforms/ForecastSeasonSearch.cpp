#include "brvcore/transforms/ForecastSeasonSearch.h"

#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/SeasonKernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace
{

constexpr int kSearchStart = 1;   // the row of angle 0
constexpr double kUnused = std::numeric_limits<double>::max();

const std::set<int>& DefaultFavouredLengths()
{
    static const std::set<int> lengths{4, 7, 12, 13, 24, 52, 60};   // quarters, days, months, weeks, hours, minutes
    return lengths;
}

// A period needs two cycles in the series, three in a short one.
int LongestPeriod(std::size_t n)
{
    constexpr std::size_t kShort = 19;
    return static_cast<int>(std::min<std::size_t>(n < kShort ? n / 3 : n / 2, std::numeric_limits<int>::max() - 1));
}

struct Candidate
{
    double period = kUnused;
    double score = kUnused;
};

// Ascending by score; missing scores last; equal ones by period.
bool RanksBefore(const Candidate& a, const Candidate& b)
{
    const bool aMissing = std::isnan(a.score);
    const bool bMissing = std::isnan(b.score);
    if (aMissing != bMissing)
        return bMissing;
    if (!aMissing && a.score != b.score)
        return a.score < b.score;
    return a.period < b.period;
}

std::vector<int> TakeBest(const std::vector<Candidate>& ranked)
{
    constexpr std::size_t kMostPeriods = 10;
    constexpr double kCloseToBest = 0.9;

    std::vector<int> periods;
    if (ranked.empty())
        return periods;
    const double best = ranked.front().score;
    for (const Candidate& candidate : ranked)
    {
        if (candidate.score == kUnused || std::isnan(candidate.score))
            break;
        if (best / candidate.score < kCloseToBest)   // 0 / 0 goes on: several perfect fits
            break;
        periods.push_back(static_cast<int>(candidate.period));
        if (periods.size() == kMostPeriods)
            break;
    }
    return periods;
}

}   // namespace

ForecastSeasonSearch::ForecastSeasonSearch(std::vector<double> series)
    : ForecastSeasonSearch(std::move(series), 60, 2, DefaultFavouredLengths())
{
}

ForecastSeasonSearch::ForecastSeasonSearch(
    std::vector<double> series, int maxPeriod, int minPeriod, std::set<int> favouredLengths)
    : m_series(std::move(series)), m_maxPeriod(maxPeriod), m_minPeriod(minPeriod),
      m_favouredLengths(std::move(favouredLengths))
{
}

std::vector<int> ForecastSeasonSearch::Compute() const
{
    constexpr double kFavouredWeight = 0.95;

    const int longest = std::min(m_maxPeriod, LongestPeriod(m_series.size()));
    const int shortest = std::max(m_minPeriod, 1);
    if (shortest > longest)
        return {};
    const std::vector<double> scores = ScorePeriods(m_series, kSearchStart, shortest, longest);

    std::vector<Candidate> candidates(static_cast<std::size_t>(longest) + 1);
    for (int period = shortest; period <= longest; ++period)
    {
        const double weight = m_favouredLengths.contains(period) ? kFavouredWeight : 1.0;
        candidates[static_cast<std::size_t>(period)] = {
            static_cast<double>(period), weight * scores[static_cast<std::size_t>(period - shortest)]};
    }
    std::sort(candidates.begin(), candidates.end(), RanksBefore);
    return TakeBest(candidates);
}

std::array<double, ForecastSeasonSearch::kRegressors> ForecastSeasonSearch::codePeriodicModelOnRow(
    int row, int start, int period, int n)
{
    const double u = static_cast<double>(row) / n;
    double sine = 0.0;
    double cosine = 0.0;
    SineAndCosine(AngleOfRow(row, start, period), sine, cosine);
    return {0.0, u, sine, cosine, u * u, u * sine, u * cosine};
}

std::vector<double> ForecastSeasonSearch::fitPeriodicModel(const std::vector<double>& series, int start, int period)
{
    constexpr std::size_t kSize = kRegressors;
    const int n = static_cast<int>(series.size());

    // Means and centred cross-products in one pass: each row adds its deviation from the means before it times its
    // deviation from the means after it (Welford). The weight of a row is 1 / count.
    std::vector<std::vector<double>> products(kSize, std::vector<double>(kSize, 0.0));
    std::vector<double> productsWithY(kSize, 0.0);
    std::array<double, kSize> means{};
    double meanY = 0.0;
    int count = 0;
    for (int row = 0; row < n; ++row)
    {
        const double y = series[static_cast<std::size_t>(row)];
        if (std::isnan(y))
            continue;
        const double weight = 1.0 / ++count;
        meanY += (y - meanY) * weight;
        const double after = y - meanY;
        const std::array<double, kSize> x = codePeriodicModelOnRow(row, start, period, n);
        std::array<double, kSize> before;
        for (std::size_t i = 1; i < kSize; ++i)
        {
            before[i] = x[i] - means[i];
            means[i] += before[i] * weight;
            productsWithY[i] += before[i] * after;
        }
        for (std::size_t i = 1; i < kSize; ++i)
            for (std::size_t j = i; j < kSize; ++j)
                products[i][j] += before[i] * (x[j] - means[j]);
    }

    products[0][0] = 1.0;   // the intercept's place: decoupled from the rest, and not singular
    if (BasicStatistics::symdet(products) != -1)
        return {};
    std::vector<double> coefficients;
    BasicStatistics::symsol(products, productsWithY, coefficients);
    double explained = 0.0;
    for (std::size_t i = 1; i < kSize; ++i)
        explained += means[i] * coefficients[i];
    coefficients[0] = meanY - explained;
    return coefficients;
}

double ForecastSeasonSearch::computeSSE(
    const std::vector<double>& coefficients, const std::vector<double>& series, int start, int period)
{
    if (series.empty())
        return 0.0;
    if (coefficients.size() < kRegressors)
        return std::numeric_limits<double>::quiet_NaN();
    const int n = static_cast<int>(series.size());
    double sse = 0.0;
    for (int row = 0; row < n; ++row)
    {
        const double y = series[static_cast<std::size_t>(row)];
        if (std::isnan(y))
            continue;
        const std::array<double, kRegressors> x = codePeriodicModelOnRow(row, start, period, n);
        double fitted = coefficients[0];
        for (std::size_t k = 1; k < kRegressors; ++k)
            fitted += coefficients[k] * x[k];
        sse += (y - fitted) * (y - fitted);
    }
    return sse;
}
