#include "brvcore/transforms/ForecastStatistics.h"

#include "brvcore/transforms/BasicStatistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSmallest = 1e-12;   // of what is divided by; std::max gives it for NaN, too
constexpr double kGoodMASE = 0.4;
constexpr double kPoorMASE = 0.8;
constexpr int kBaseParameters = 3;   // every model's own share in the criterion

// Mean absolute error of the naive forecast: the season before, or the period before when a trend moves the level.
double NaiveScale(const std::vector<double>& series, const SmoothingComponents& components)
{
    const bool isSeasonal = components.HasSeason() && !components.HasTrend();
    const std::size_t lag = isSeasonal ? static_cast<std::size_t>(components.frequency) : 1;
    double sum = 0.0;
    int count = 0;
    for (std::size_t t = lag; t < series.size(); ++t)
    {
        const double change = series[t] - series[t - lag];
        if (std::isnan(series[t]) || std::isnan(series[t - lag]))
            continue;
        sum += std::abs(change);
        ++count;
    }
    return std::max(kSmallest, sum / count);
}

double CriterionOf(const SmoothingComponents& components, double sse, int count)
{
    const int season = components.HasSeason() ? components.frequency : 0;
    const int trend = components.HasTrend() ? 2 : 0;
    return count * std::log(sse / count) + 2.0 * (season + trend) + 2.0 * kBaseParameters;
}

}   // namespace

SmoothingStatistics ComputeStatistics(const std::vector<double>& series, const SmoothingFit& fit)
{
    SmoothingStatistics result;
    const double scale = NaiveScale(series, fit.components);
    double absoluteSum = 0.0;
    double relativeSum = 0.0;
    double scaledSum = 0.0;
    for (std::size_t t = 0; t < series.size(); ++t)
    {
        const double residual = series[t] - fit.fitted[t];
        result.residuals.push_back(residual);
        if (fit.components.HasMultiplicativeError())
            result.relativeResiduals.push_back(residual / std::max(kSmallest, fit.fitted[t]));
        if (std::isnan(residual))
            continue;
        ++result.fittedCount;
        result.sse += residual * residual;
        absoluteSum += std::abs(residual);
        scaledSum += std::abs(residual) / scale;
        if (std::abs(series[t]) > kSmallest)
            relativeSum += std::abs(residual / series[t]);
    }
    if (std::isnan(fit.sse))
    {
        result.sse = result.rmse = result.mae = result.mape = result.mase = result.aic = result.sigma = kNaN;
        return result;
    }

    const int count = result.fittedCount;
    const std::vector<double>& spread =
        fit.components.HasMultiplicativeError() ? result.relativeResiduals : result.residuals;
    result.rmse = std::sqrt(result.sse / count);
    result.mae = absoluteSum / count;
    result.mape = 100.0 * relativeSum / count;
    result.mase = scaledSum / count;
    result.sigma = std::max(kSmallest, std::sqrt(BasicStatistics::variance(spread, 0, false)));
    result.aic = CriterionOf(fit.components, result.sse, count);
    return result;
}

int QualityOfMASE(double mase)
{
    if (mase < kGoodMASE)
        return 0;
    return mase > kPoorMASE ? 2 : 1;
}
