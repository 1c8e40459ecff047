#pragma once

#include "brvcore/transforms/ForecastTypes.h"

#include <cmath>
#include <vector>

// The recursion of exponential smoothing in error-correction form, as functions on values. Here is the plain loop, which
// every faster form has to equal to the last bit (SmoothingKernels.h).
//
//     base   = level | level + trend | level * trend          what level and trend predict
//     fitted = base  | base + season | base * season          the prediction of the period
//     x      = the observation, or fitted when it is missing  what the states learn from
//
// Formulas: R. J. Hyndman, A. B. Koehler, J. K. Ord, R. D. Snyder, "Forecasting with Exponential Smoothing" (2008).

// The states in front of one period, and what they are after it.
struct SmoothingState
{
    double level;
    double trend;
    double season;   // before the step: s_t; after it: s_(t+m)
};

struct SmoothingStepResult
{
    double base;
    double fitted;
};

// Learns from one observation (NaN: missing). Without a trend or a season that state is left alone.
inline SmoothingStepResult SmoothingStep(const SmoothingComponents& components, const ForecastParameters& parameters,
    double observation, SmoothingState& state)
{
    const auto [alpha, beta, gamma] = parameters;
    const double level = state.level;
    const double season = state.season;

    double base = level;
    if (components.trend == ForecastComponentType::Additive)
        base = level + state.trend;
    else if (components.trend == ForecastComponentType::Multiplicative)
        base = level * state.trend;

    double fitted = base;
    if (components.season == ForecastComponentType::Additive)
        fitted = base + season;
    else if (components.season == ForecastComponentType::Multiplicative)
        fitted = base * season;

    const double x = std::isnan(observation) ? fitted : observation;
    if (components.season == ForecastComponentType::Additive)
    {
        state.season = gamma * (x - base) + (1.0 - gamma) * season;
        state.level = alpha * (x - season) + (1.0 - alpha) * base;
    }
    else if (components.season == ForecastComponentType::Multiplicative)
    {
        state.season = gamma * (x / base) + (1.0 - gamma) * season;
        state.level = alpha * (x / season) + (1.0 - alpha) * base;
    }
    else
        state.level = alpha * x + (1.0 - alpha) * base;

    if (components.trend == ForecastComponentType::Additive)
        state.trend = beta * (state.level - level) + (1.0 - beta) * state.trend;
    else if (components.trend == ForecastComponentType::Multiplicative)
        state.trend = beta * (state.level / level) + (1.0 - beta) * state.trend;
    return {base, fitted};
}

// The states in front of the first period: one level, one trend, m seasonal states (none without a season).
// Throws LogicException 0x7A3590EB "seasonIdx > 0" and 0x1D6BC24F "periodIdx <= m_frequency"; see ForecastModel.h.
SmoothingStates InitExponentialSmoothing(const std::vector<double>& series, const SmoothingComponents& components);

// Runs the recursion over the series from the fit's components, parameters and first states, and stores states, fitted
// values, fit-trend path and SSE, with room for `horizon` periods more. A sum that becomes NaN ends the run: it is the
// SSE, and what was not reached is NaN.
void ExponentialSmoothingUpdate(const std::vector<double>& series, int horizon, SmoothingFit& fit);

// Continues the recursion behind the n observed periods with every prediction taken for the observation. Returns the
// predictions, one per period of the horizon.
std::vector<double> ExponentialSmoothingForecast(int timeSeriesLen, int horizon, SmoothingFit& fit);

// Coefficients of the state-space form: (alpha, alpha beta, (1 - alpha) gamma).
ForecastParameters SetStateSpaceParameters(const ForecastParameters& parameters);

// One period of the state-space form with the given error, relative when the model's error is multiplicative. Returns the
// outcome of the period.
double StateSpaceUpdate(
    const SmoothingComponents& components, const ForecastParameters& coefficients, double error, SmoothingState& state);
