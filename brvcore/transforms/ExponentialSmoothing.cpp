#include "brvcore/transforms/ExponentialSmoothing.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMaxTrendStart = 1e6;   // a multiplicative trend from a level near zero
constexpr int kLevelStartLen = 4;        // observations that make the first level

std::size_t Index(int i)
{
    return static_cast<std::size_t>(i);
}

// A position behind the series counts as missing.
double ObservationAt(const std::vector<double>& series, int i)
{
    return Index(i) < series.size() ? series[Index(i)] : kNaN;
}

double StartLevel(const std::vector<double>& series)
{
    double sum = 0.0;
    int count = 0;
    for (std::size_t i = 0; i < series.size() && count < kLevelStartLen; ++i)
        if (!std::isnan(series[i]))
        {
            sum += series[i];
            ++count;
        }
    return sum / count;
}

// Mean change per period between observations that follow each other.
double StartTrend(const std::vector<double>& series)
{
    double sum = 0.0;
    int count = 0;
    int previous = -1;
    for (int i = 0; Index(i) < series.size(); ++i)
    {
        if (std::isnan(series[Index(i)]))
            continue;
        if (previous >= 0)
        {
            sum += (series[Index(i)] - series[Index(previous)]) / (i - previous);
            ++count;
        }
        previous = i;
    }
    return sum / count;
}

// Mean of the season's observations; NaN when there are none, or when the series does not reach its end.
double SeasonMean(const std::vector<double>& series, int frequency, int seasonIdx)
{
    if (seasonIdx >= static_cast<int>(series.size()) / frequency)
        return kNaN;
    double sum = 0.0;
    int count = 0;
    for (int i = seasonIdx * frequency; i < (seasonIdx + 1) * frequency; ++i)
        if (!std::isnan(series[Index(i)]))
        {
            sum += series[Index(i)];
            ++count;
        }
    return sum / count;
}

// Slope between the means of the first and of the last season with an observation.
double SeasonalStartTrend(const std::vector<double>& series, int frequency, double firstMean)
{
    int seasonIdx = static_cast<int>(series.size()) / frequency - 1;
    while (seasonIdx > 0 && std::isnan(SeasonMean(series, frequency, seasonIdx)))
        --seasonIdx;
    BRV_LOGIC_ASSERT(0x7A3590EB, seasonIdx > 0);
    return (SeasonMean(series, frequency, seasonIdx) - firstMean) / (static_cast<double>(frequency) * seasonIdx);
}

// Mean, per position, of the observations' distance from the two first seasons' trend lines.
std::vector<double> SeasonalIndices(const std::vector<double>& series, const SmoothingComponents& components,
    double firstMean, double secondMean, double trend)
{
    const int m_frequency = components.frequency;
    const int centre = (m_frequency + 1) / 2;
    const auto distance = [&](double observation, double mean, int i)
    {
        const double line = mean - (centre - i) * trend;
        return components.season == ForecastComponentType::Additive ? observation - line : observation / line;
    };

    std::vector<double> indices(Index(m_frequency));
    for (int i = 0; i < m_frequency; ++i)
    {
        const double first = distance(ObservationAt(series, i), firstMean, i);
        const double second = distance(ObservationAt(series, m_frequency + i), secondMean, i);
        if (std::isnan(first) || std::isnan(second))
            indices[Index(i)] = std::isnan(first) ? second : first;
        else
            indices[Index(i)] = (first + second) / 2.0;
    }

    // A position without a value takes that of the one before; in front of position 0 lies position m - 1. One round
    // from the first value on reaches them all.
    const auto isValue = [](double index) { return !std::isnan(index); };
    const auto firstValue = std::find_if(indices.begin(), indices.end(), isValue);
    const int periodIdx = static_cast<int>(firstValue - indices.begin()) + 1;   // counted from 1; m + 1 for none
    BRV_LOGIC_ASSERT(0x1D6BC24F, periodIdx <= m_frequency);
    for (int k = 0; k < m_frequency; ++k)
    {
        const int i = (periodIdx + k) % m_frequency;
        if (std::isnan(indices[Index(i)]))
            indices[Index(i)] = indices[Index((i + m_frequency - 1) % m_frequency)];
    }
    return indices;
}

}   // namespace

SmoothingStates InitExponentialSmoothing(const std::vector<double>& series, const SmoothingComponents& components)
{
    double level = 0.0;
    double trend = 0.0;
    std::vector<double> season;
    if (components.HasSeason())
    {
        const int frequency = components.frequency;
        const double firstMean = SeasonMean(series, frequency, 0);
        if (components.HasTrend())
            trend = SeasonalStartTrend(series, frequency, firstMean);
        level = firstMean - (frequency / 2) * trend;
        season = SeasonalIndices(series, components, firstMean, SeasonMean(series, frequency, 1), trend);
    }
    else
    {
        level = StartLevel(series);
        if (components.HasTrend())
            trend = StartTrend(series);
    }
    if (components.trend == ForecastComponentType::Multiplicative)
        trend = std::min(kMaxTrendStart, trend / level + 1.0);   // the bound for NaN, too
    return {{level}, {trend}, std::move(season)};
}

void ExponentialSmoothingUpdate(const std::vector<double>& series, int horizon, SmoothingFit& fit)
{
    const int n = static_cast<int>(series.size());
    const int m = fit.components.frequency;
    const bool hasSeason = fit.components.HasSeason();
    SmoothingStates& states = fit.states;
    states.level.resize(1);
    states.trend.resize(1);
    states.season.resize(Index(hasSeason ? m : 0));
    states.level.resize(Index(n + horizon + 1), kNaN);
    states.trend.resize(Index(n + horizon + 1), kNaN);
    states.season.resize(Index(n + m + horizon), hasSeason ? kNaN : 0.0);
    fit.fitted.assign(Index(n + horizon), kNaN);
    fit.fitTrend.assign(Index(n + horizon), kNaN);

    fit.sse = 0.0;
    for (int t = 0; t < n && !std::isnan(fit.sse); ++t)
    {
        SmoothingState state{states.level[Index(t)], states.trend[Index(t)], states.season[Index(t)]};
        const double observation = series[Index(t)];
        const SmoothingStepResult step = SmoothingStep(fit.components, fit.parameters, observation, state);
        fit.fitTrend[Index(t)] = step.base;
        fit.fitted[Index(t)] = step.fitted;
        states.level[Index(t + 1)] = state.level;
        states.trend[Index(t + 1)] = state.trend;
        states.season[Index(t + m)] = state.season;
        if (!std::isnan(observation))
            fit.sse += (step.fitted - observation) * (step.fitted - observation);
    }
}

std::vector<double> ExponentialSmoothingForecast(int timeSeriesLen, int horizon, SmoothingFit& fit)
{
    SmoothingStates& states = fit.states;
    std::vector<double> forecast;
    forecast.reserve(Index(horizon));
    for (int t = timeSeriesLen; t < timeSeriesLen + horizon; ++t)
    {
        SmoothingState state{states.level[Index(t)], states.trend[Index(t)], states.season[Index(t)]};
        const SmoothingStepResult step = SmoothingStep(fit.components, fit.parameters, kNaN, state);
        fit.fitTrend[Index(t)] = step.base;
        fit.fitted[Index(t)] = step.fitted;
        states.level[Index(t + 1)] = state.level;
        states.trend[Index(t + 1)] = state.trend;
        states.season[Index(t + fit.components.frequency)] = state.season;
        forecast.push_back(step.fitted);
    }
    return forecast;
}

ForecastParameters SetStateSpaceParameters(const ForecastParameters& parameters)
{
    const auto [alpha, beta, gamma] = parameters;
    return {alpha, alpha * beta, (1.0 - alpha) * gamma};
}

double StateSpaceUpdate(
    const SmoothingComponents& components, const ForecastParameters& coefficients, double error, SmoothingState& state)
{
    const auto [alpha, beta, gamma] = coefficients;
    double mu = state.level;
    if (components.trend == ForecastComponentType::Additive)
        mu = state.level + state.trend;
    else if (components.trend == ForecastComponentType::Multiplicative)
        mu = state.level * state.trend;

    double prediction = mu;
    if (components.season == ForecastComponentType::Additive)
        prediction = mu + state.season;
    else if (components.season == ForecastComponentType::Multiplicative)
        prediction = mu * state.season;

    if (!components.HasMultiplicativeError())
    {
        state.level = mu + alpha * error;
        if (components.HasTrend())
            state.trend += beta * error;
        if (components.HasSeason())
            state.season += gamma * error;
        return prediction + error;
    }
    state.level = mu * (1.0 + alpha * error);
    if (components.trend == ForecastComponentType::Additive)
        state.trend += beta * mu * error;
    else if (components.trend == ForecastComponentType::Multiplicative)
        state.trend *= 1.0 + beta * error;
    if (components.HasSeason())
        state.season *= 1.0 + gamma * error;
    return prediction * (1.0 + error);
}
