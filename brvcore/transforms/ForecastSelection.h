#pragma once

#include "brvcore/data/AggType.h"
#include "brvcore/transforms/ForecastTypes.h"

#include <set>
#include <vector>

// Season lengths to try, and the season limit that goes with them.
struct SeasonCandidates
{
    std::set<int> lengths;   // never empty
    ForecastComponentType seasonLimit;
};

// A search over the data is trusted where the calendar offers no season of its own (years, plain positions) or a doubtful
// one (minutes, seconds), and only when its answer is clear; every other level has its calendar's season, the given
// frequency. Without any candidate the length is 1 and no season is allowed.
SeasonCandidates CandidateSeasons(
    const std::vector<double>& series, AggType aggType, int frequency, ForecastComponentType seasonLimit);

// The given components with optimised parameters; recursion and statistics are done, with room for the horizon.
SmoothingFit FitSmoothing(const std::vector<double>& series, const SmoothingComponents& components, int horizon);

// The fit with the lowest information criterion among all trends and seasons up to their limits and all lengths, the first
// of equals. A model with a multiplicative error has to keep its residual spread within 1. When none qualifies (an empty or
// all-missing series): neither trend nor season, the smallest length, and parameters 0.
SmoothingFit SelectSmoothing(const std::vector<double>& series, const SeasonCandidates& candidates,
    ForecastComponentType trendLimit, int horizon);
