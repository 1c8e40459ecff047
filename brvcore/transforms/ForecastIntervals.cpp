#include "brvcore/transforms/ForecastIntervals.h"

#include "brvcore/transforms/BasicStatistics.h"
#include "brvcore/transforms/ExponentialSmoothing.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <boost/math/distributions/normal.hpp>
#include <boost/math/policies/error_handling.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>

namespace
{

constexpr int kPaths = 100;
constexpr std::uint32_t kSeed = 13579;

// The outcomes of all paths at one horizon.
struct Outcomes
{
    int count = 0;
    double mean = 0.0;
    double m2 = 0.0;   // sum of squared deviations
};

ForecastIntervals IntervalsAround(
    const std::vector<double>& forecast, std::vector<double> standardDeviations, double confidenceLevel)
{
    const double z = CriticalValue(confidenceLevel);
    ForecastIntervals intervals;
    intervals.standardDeviations = std::move(standardDeviations);
    for (std::size_t h = 0; h < forecast.size(); ++h)
    {
        const double halfWidth = z * intervals.standardDeviations[h];
        intervals.halfWidths.push_back(halfWidth);
        intervals.lower.push_back(forecast[h] - halfWidth);
        intervals.upper.push_back(forecast[h] + halfWidth);
    }
    return intervals;
}

// The states behind the last observation.
SmoothingState FinalState(const SmoothingFit& fit)
{
    const std::size_t n = fit.statistics.residuals.size();
    return {fit.states.level[n], fit.states.trend[n], 0.0};
}

// The seasonal states of the next m periods.
std::vector<double> FinalSeason(const SmoothingFit& fit)
{
    const auto begin = fit.states.season.begin() + static_cast<std::ptrdiff_t>(fit.statistics.residuals.size());
    return {begin, begin + fit.components.frequency};
}

}   // namespace

double CriticalValue(double confidenceLevel)
{
    // The quantile below would accept a level down to -1.
    if (confidenceLevel < 0.0)
        return boost::math::policies::raise_domain_error<double>("CriticalValue",
            "Probability argument is %1%, but must be >= 0 and <= 1 !", confidenceLevel,
            boost::math::policies::policy<>());
    return boost::math::quantile(boost::math::normal(), 1.0 - (1.0 - confidenceLevel) / 2.0);
}

ForecastIntervals ComputePredictionIntervals(
    const SmoothingFit& fit, const std::vector<double>& forecast, double confidenceLevel)
{
    const double alpha = fit.parameters[0];
    const double beta = fit.parameters[1];
    const double seasonCoefficient = SetStateSpaceParameters(fit.parameters)[2];
    std::vector<double> standardDeviations;
    double squaredCoefficients = 0.0;   // of the errors between the last observation and the horizon
    for (int h = 1; h <= static_cast<int>(forecast.size()); ++h)
    {
        standardDeviations.push_back(
            std::sqrt((1.0 + squaredCoefficients) * fit.statistics.sse / fit.statistics.fittedCount));
        double coefficient = alpha * (1.0 + h * beta);
        if (h % fit.components.frequency == 0)
            coefficient += seasonCoefficient;
        squaredCoefficients += coefficient * coefficient;
    }
    return IntervalsAround(forecast, std::move(standardDeviations), confidenceLevel);
}

ForecastIntervals SimulatePredictionIntervals(
    const SmoothingFit& fit, const std::vector<double>& forecast, double confidenceLevel)
{
    const double sigma = fit.statistics.sigma;
    if (std::isnan(sigma))
        return IntervalsAround(
            forecast, std::vector<double>(forecast.size(), std::numeric_limits<double>::quiet_NaN()), confidenceLevel);

    const ForecastParameters coefficients = SetStateSpaceParameters(fit.parameters);
    const SmoothingState finalState = FinalState(fit);
    const std::vector<double> finalSeason = FinalSeason(fit);
    boost::random::mt19937 generator(kSeed);
    boost::random::normal_distribution<double> errors(0.0, sigma);
    std::vector<Outcomes> outcomes(forecast.size());
    for (int path = 0; path < kPaths; ++path)
    {
        SmoothingState state = finalState;
        std::vector<double> season = finalSeason;   // a ring of the next m periods
        std::size_t position = 0;
        for (Outcomes& outcome : outcomes)
        {
            state.season = season[position];
            const double value = StateSpaceUpdate(fit.components, coefficients, errors(generator), state);
            season[position] = state.season;
            position = position + 1 < season.size() ? position + 1 : 0;
            BasicStatistics::VarianceIterative(value, outcome.count, outcome.mean, outcome.m2);
        }
    }
    std::vector<double> standardDeviations;
    standardDeviations.reserve(outcomes.size());
    for (const Outcomes& outcome : outcomes)
        standardDeviations.push_back(std::sqrt(outcome.m2 / kPaths));
    return IntervalsAround(forecast, std::move(standardDeviations), confidenceLevel);
}
