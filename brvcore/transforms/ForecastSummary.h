#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <vector>

// The facts about a forecast that a host shows in words. Without a season high and low are all zero.
struct ForecastSummary
{
    StatisticInfo seasonHigh;
    StatisticInfo seasonLow;
    StatisticInfo firstForecast;
    StatisticInfo changeOverTime;
    StatisticInfo seasonalContribution;
    StatisticInfo trendContribution;
};

// Population variances over the forecast horizon.
struct HorizonVariances
{
    double levels = 0.0;
    double seasons = 0.0;   // 0 without a season
    double forecast = 0.0;
};

// Both vectors have one entry per horizon, at least one.
struct ForecastedSeries
{
    const SmoothingFit& fit;
    const std::vector<double>& forecast;
    const std::vector<double>& halfWidths;
};

HorizonVariances ComputeHorizonVariances(const SmoothingFit& fit, const std::vector<double>& forecast);

// Position p of the season belongs to horizon p + 1. A null date stays null, other dates are as for
// ForecastUtils::IncrementExplanatory.
ForecastSummary SummariseForecast(const ForecastedSeries& series, const HorizonVariances& variances,
    const DataValue& lastActual, AggType aggType, int firstOffset);
