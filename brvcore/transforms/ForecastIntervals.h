#pragma once

#include "brvcore/transforms/ForecastTypes.h"

#include <vector>

// Two-sided critical value of the standard normal distribution: 1.96 for 0.95. Raises Boost.Math's domain error for a
// confidence level outside [0, 1], its overflow error for 1.
double CriticalValue(double confidenceLevel);

// Intervals around the forecast of a fit with additive error, in closed form.
// R. J. Hyndman et al., "Prediction intervals for exponential smoothing using two new classes of state space models",
// Journal of Forecasting 24 (2005), class 1.
ForecastIntervals ComputePredictionIntervals(
    const SmoothingFit& fit, const std::vector<double>& forecast, double confidenceLevel);

// Intervals around the forecast of a fit with multiplicative error, from 100 simulated paths. The seed is fixed, so equal
// fits have equal intervals. A spread that is NaN gives NaN.
ForecastIntervals SimulatePredictionIntervals(
    const SmoothingFit& fit, const std::vector<double>& forecast, double confidenceLevel);
