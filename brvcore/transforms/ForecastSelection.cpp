#include "brvcore/transforms/ForecastSelection.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/transforms/ExponentialSmoothing.h"
#include "brvcore/transforms/ForecastOptimizer.h"
#include "brvcore/transforms/ForecastSeasonSearch.h"
#include "brvcore/transforms/ForecastStatistics.h"

#include <cfloat>

namespace
{

constexpr double kLargestSpread = 1.0;
constexpr std::size_t kMostTrustedCandidates = 9;   // the search's own maximum of ten means that it could not tell

bool IsTrusted(AggType aggType, std::size_t found)
{
    switch (aggType)
    {
    case AggType::YearTrunc:
    case AggType::MinuteTrunc:
    case AggType::SecondTrunc:
        return found == 1;
    case AggType::None:
        return found >= 1 && found <= kMostTrustedCandidates;
    default:
        return false;
    }
}

bool MayBeTrusted(AggType aggType)
{
    return IsTrusted(aggType, 1);
}

// Runs the recursion once, with given parameters.
SmoothingFit RunSmoothing(const std::vector<double>& series, const SmoothingComponents& components,
    const ForecastParameters& parameters, int horizon)
{
    SmoothingFit fit;
    fit.components = components;
    fit.parameters = parameters;
    fit.states = InitExponentialSmoothing(series, components);
    ExponentialSmoothingUpdate(series, horizon, fit);
    fit.statistics = ComputeStatistics(series, fit);
    return fit;
}

}   // namespace

SeasonCandidates CandidateSeasons(
    const std::vector<double>& series, AggType aggType, int frequency, ForecastComponentType seasonLimit)
{
    SeasonCandidates candidates{{}, seasonLimit};
    if (seasonLimit != ForecastComponentType::None && MayBeTrusted(aggType))
    {
        const std::vector<int> found = ForecastSeasonSearch(series).Compute();
        if (IsTrusted(aggType, found.size()))
            candidates.lengths.insert(found.begin(), found.end());
    }
    if (aggType != AggType::None && aggType != AggType::YearTrunc)
    {
        BRV_LOGIC_ASSERT(0x2E95B7D8, frequency > 0);
        candidates.lengths.insert(frequency);
    }
    if (candidates.lengths.empty())
        candidates = {{1}, ForecastComponentType::None};
    return candidates;
}

SmoothingFit FitSmoothing(const std::vector<double>& series, const SmoothingComponents& components, int horizon)
{
    const SmoothingStates start = InitExponentialSmoothing(series, components);
    const SmoothingObjective objective(series, components, start);
    return RunSmoothing(series, components, ForecastOptimizer::OptimizeParameters(objective), horizon);
}

SmoothingFit SelectSmoothing(const std::vector<double>& series, const SeasonCandidates& candidates,
    ForecastComponentType trendLimit, int horizon)
{
    const int firstLength = *candidates.lengths.begin();
    SmoothingComponents best{ForecastComponentType::None, ForecastComponentType::None, firstLength};
    ForecastParameters bestParameters{};
    double bestCriterion = DBL_MAX;
    for (const int length : candidates.lengths)
        for (int trend = 0; trend <= static_cast<int>(trendLimit); ++trend)
            for (int season = 0; season <= static_cast<int>(candidates.seasonLimit); ++season)
            {
                const SmoothingComponents components{
                    static_cast<ForecastComponentType>(trend), static_cast<ForecastComponentType>(season), length};
                if (components.trend == ForecastComponentType::Multiplicative &&
                    components.season == ForecastComponentType::Additive)
                    continue;
                if (!components.HasSeason() && length != firstLength)
                    continue;   // the same fit as for the first length, which wins the tie

                const SmoothingFit fit = FitSmoothing(series, components, 0);
                const bool isAdmissible =
                    !components.HasMultiplicativeError() || fit.statistics.sigma <= kLargestSpread;
                if (isAdmissible && fit.statistics.aic < bestCriterion)
                {
                    bestCriterion = fit.statistics.aic;
                    best = components;
                    bestParameters = fit.parameters;
                }
            }
    return RunSmoothing(series, best, bestParameters, horizon);
}
