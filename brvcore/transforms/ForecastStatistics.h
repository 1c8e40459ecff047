#pragma once

#include "brvcore/transforms/ForecastTypes.h"

#include <vector>

// Errors, spread and information criterion of a fit whose recursion has run. A fit whose SSE is NaN has NaN everywhere
// but in its residuals. Missing observations count nowhere.
//
// MASE: R. J. Hyndman and A. B. Koehler, "Another look at measures of forecast accuracy", International Journal of
// Forecasting 22 (2006). AIC: H. Akaike (1974), for Gaussian errors.
SmoothingStatistics ComputeStatistics(const std::vector<double>& series, const SmoothingFit& fit);

// 0 good, 1 fair (with both boundaries 0.4 and 0.8, and NaN), 2 poor.
int QualityOfMASE(double mase);
