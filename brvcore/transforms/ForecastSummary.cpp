#include "brvcore/transforms/ForecastSummary.h"

#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/ForecastUtils.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace
{

StatisticInfo FirstForecast(const ForecastedSeries& series)
{
    const double halfWidth = series.halfWidths.front();
    return {series.forecast.front(), 0.0, halfWidth, halfWidth / series.forecast.front() * 100.0};
}

StatisticInfo ChangeOverTime(const ForecastedSeries& series)
{
    const double first = series.forecast.front();
    const double change = series.forecast.back() - first;
    const double meanHalfWidth = std::accumulate(series.halfWidths.begin(), series.halfWidths.end(), 0.0) /
                                 static_cast<double>(series.halfWidths.size());
    return {change, change / first * 100.0, meanHalfWidth, meanHalfWidth / first * 100.0};
}

// The share of one variance in the forecast's, and in percent of both shares.
StatisticInfo Contribution(double share, double bothShares)
{
    return {share, bothShares > 0.0 ? share / bothShares * 100.0 : 0.0, 0.0, 0.0};
}

}   // namespace

HorizonVariances ComputeHorizonVariances(const SmoothingFit& fit, const std::vector<double>& forecast)
{
    const int n = static_cast<int>(fit.statistics.residuals.size());
    HorizonVariances variances;
    variances.levels = BasicStatistics::variance(fit.states.level, n + 1, false);
    if (fit.components.HasSeason())
        variances.seasons = BasicStatistics::variance(fit.states.season, n + fit.components.frequency, false);
    variances.forecast = BasicStatistics::variance(forecast, 0, false);
    return variances;
}

ForecastSummary SummariseForecast(const ForecastedSeries& series, const HorizonVariances& variances,
    const DataValue& lastActual, AggType aggType, int firstOffset)
{
    ForecastSummary summary;
    summary.firstForecast = FirstForecast(series);
    summary.changeOverTime = ChangeOverTime(series);

    if (series.fit.components.HasSeason())
    {
        const std::size_t n = series.fit.statistics.residuals.size();
        const double level = series.fit.states.level[n];
        const auto begin = series.fit.states.season.begin() + static_cast<std::ptrdiff_t>(n);
        const auto end = begin + series.fit.components.frequency;
        const auto describe = [&](std::vector<double>::const_iterator season)
        {
            const auto position = season - begin;
            const auto horizonIdx = static_cast<std::size_t>(position);
            const double halfWidth = horizonIdx < series.halfWidths.size() ? series.halfWidths[horizonIdx] : 0.0;
            const DataValue date = lastActual.IsNull() ? DataValue()
                                                       : ForecastUtils::IncrementExplanatory(lastActual, aggType,
                                                             firstOffset + static_cast<int>(position) + 1);
            return StatisticInfo(*season, *season / level * 100.0, halfWidth, halfWidth / level * 100.0, date);
        };
        summary.seasonHigh = describe(std::max_element(begin, end));   // the first of equals, as below
        summary.seasonLow = describe(std::min_element(begin, end));
    }

    if (variances.forecast > 0.0)
    {
        const double trend = variances.levels / variances.forecast;
        const double season = variances.seasons / variances.forecast;
        summary.trendContribution = Contribution(trend, trend + season);
        summary.seasonalContribution = Contribution(season, trend + season);
    }
    return summary;
}
