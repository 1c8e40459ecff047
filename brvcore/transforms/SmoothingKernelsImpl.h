// The loops of SmoothingKernels.h, compiled once per instruction level. The including file defines BRV_SMOOTHING_LANES and
// is built with the level's flags.
//
// Everything here is private to the including file and calls no inline function of another header: the linker keeps one
// copy of such a function for the whole library, and must not keep one that an older processor cannot run.

#include "brvcore/transforms/SmoothingKernels.h"

namespace
{

constexpr int kLanes = BRV_SMOOTHING_LANES;

// The states and parameters of all lanes. Local to the pass, so that they stay in registers as far as there are any.
struct LaneState
{
    double alpha[kLanes];
    double keepLevel[kLanes];   // 1 - alpha
    double beta[kLanes];
    double keepTrend[kLanes];   // 1 - beta
    double gamma[kLanes];
    double keepSeason[kLanes];   // 1 - gamma
    double level[kLanes];
    double trend[kLanes];
    double sse[kLanes];
};

// One period. Compile-time switches take the place of SmoothingStep's tests; `isFirstRound` reads the season from the
// start values, which all lanes share, and `isLastRound` leaves out the season that no later period reads.
template <int kTrend, int kSeason, bool isMissing, bool isFirstRound, bool isLastRound>
inline __attribute__((always_inline)) void Step(LaneState& s, double observation, double startSeason, double* season)
{
#pragma omp simd
    for (int k = 0; k < kLanes; ++k)
    {
        const double level = s.level[k];
        const double base = kTrend == 1 ? level + s.trend[k] : kTrend == 2 ? level * s.trend[k] : level;
        double seasonal = 0.0;
        if constexpr (kSeason != 0)
            seasonal = isFirstRound ? startSeason : season[k];
        const double fitted = kSeason == 1 ? base + seasonal : kSeason == 2 ? base * seasonal : base;
        const double x = isMissing ? fitted : observation;

        double next = 0.0;
        if constexpr (kSeason == 1)
        {
            if constexpr (!isLastRound)
                season[k] = s.gamma[k] * (x - base) + s.keepSeason[k] * seasonal;
            next = s.alpha[k] * (x - seasonal) + s.keepLevel[k] * base;
        }
        else if constexpr (kSeason == 2)
        {
            if constexpr (!isLastRound)
                season[k] = s.gamma[k] * (x / base) + s.keepSeason[k] * seasonal;
            next = s.alpha[k] * (x / seasonal) + s.keepLevel[k] * base;
        }
        else
            next = s.alpha[k] * x + s.keepLevel[k] * base;

        if constexpr (kTrend == 1)
            s.trend[k] = s.beta[k] * (next - level) + s.keepTrend[k] * s.trend[k];
        else if constexpr (kTrend == 2)
            s.trend[k] = s.beta[k] * (next / level) + s.keepTrend[k] * s.trend[k];
        s.level[k] = next;
        if constexpr (!isMissing)
            s.sse[k] += (fitted - observation) * (fitted - observation);
    }
}

// Periods [begin, end) of one round through the season.
template <int kTrend, int kSeason, bool isFirstRound, bool isLastRound>
inline __attribute__((always_inline)) void Round(
    LaneState& s, const SmoothingProblem& problem, int begin, int end, int position, double* ring)
{
    for (int t = begin; t < end; ++t, ++position)
    {
        const double observation = problem.series[t];
        double* season = kSeason == 0 ? nullptr : ring + static_cast<long>(position) * kLanes;
        const double startSeason = isFirstRound && kSeason != 0 ? problem.startSeason[position] : 0.0;
        if (observation != observation)
            Step<kTrend, kSeason, true, isFirstRound, isLastRound>(s, observation, startSeason, season);
        else
            Step<kTrend, kSeason, false, isFirstRound, isLastRound>(s, observation, startSeason, season);
    }
}

template <int kTrend, int kSeason>
void Accumulate(const SmoothingProblem& problem, const SmoothingLanes& lanes, double* ring)
{
    LaneState s;
    for (int k = 0; k < kLanes; ++k)
    {
        s.alpha[k] = lanes.alpha[k];
        s.keepLevel[k] = 1.0 - lanes.alpha[k];
        s.beta[k] = lanes.beta[k];
        s.keepTrend[k] = 1.0 - lanes.beta[k];
        s.gamma[k] = lanes.gamma[k];
        s.keepSeason[k] = 1.0 - lanes.gamma[k];
        s.level[k] = problem.startLevel;
        s.trend[k] = problem.startTrend;
        s.sse[k] = 0.0;
    }

    const int n = problem.timeSeriesLen;
    if constexpr (kSeason == 0)
        Round<kTrend, kSeason, false, true>(s, problem, 0, n, 0, ring);
    else
    {
        // The first m periods read the start, the last m write no season; a round goes from position 0 to m - 1.
        const int m = problem.frequency;
        const int lastBegin = n > m ? n - m : 0;
        if (n <= m)
            Round<kTrend, kSeason, true, true>(s, problem, 0, n, 0, ring);
        else if (lastBegin <= m)
        {
            Round<kTrend, kSeason, true, false>(s, problem, 0, lastBegin, 0, ring);
            Round<kTrend, kSeason, true, true>(s, problem, lastBegin, m, lastBegin, ring);
            Round<kTrend, kSeason, false, true>(s, problem, m, n, 0, ring);
        }
        else
        {
            Round<kTrend, kSeason, true, false>(s, problem, 0, m, 0, ring);
            int t = m;
            for (; t + m <= lastBegin; t += m)
                Round<kTrend, kSeason, false, false>(s, problem, t, t + m, 0, ring);
            const int position = lastBegin - t;   // where the season stops being written
            Round<kTrend, kSeason, false, false>(s, problem, t, lastBegin, 0, ring);
            Round<kTrend, kSeason, false, true>(s, problem, lastBegin, t + m, position, ring);
            Round<kTrend, kSeason, false, true>(s, problem, t + m, n, 0, ring);
        }
    }
    for (int k = 0; k < kLanes; ++k)
        lanes.sse[k] = s.sse[k];
}

void AccumulateSquaredErrors(const SmoothingProblem& problem, const SmoothingLanes& lanes, double* ring)
{
    using Pass = void (*)(const SmoothingProblem&, const SmoothingLanes&, double*);
    constexpr Pass kPasses[3][3] = {
        {Accumulate<0, 0>, Accumulate<0, 1>, Accumulate<0, 2>},
        {Accumulate<1, 0>, Accumulate<1, 1>, Accumulate<1, 2>},
        {Accumulate<2, 0>, Accumulate<2, 1>, Accumulate<2, 2>},
    };
    kPasses[problem.trend][problem.season](problem, lanes, ring);
}

}   // namespace
