// The loops of SmoothingKernels.h, compiled once per instruction level. The including file defines
// BRV_SMOOTHING_VECTOR_LANES (doubles per vector) and BRV_SMOOTHING_VECTORS, and is built with the level's flags.
//
// Everything here is private to the including file and calls no inline function of another header: the linker keeps one
// copy of such a function for the whole library, and must not keep one that an older processor cannot run.

#include "brvcore/transforms/SmoothingKernels.h"

namespace
{

constexpr int kVectorLanes = BRV_SMOOTHING_VECTOR_LANES;
constexpr int kVectors = BRV_SMOOTHING_VECTORS;   // enough of them to keep the machine busy while one waits for itself
constexpr int kLanes = kVectorLanes * kVectors;

// Element-wise arithmetic on so many doubles; understood by gcc and clang, which take no liberties with the rounding.
typedef double Vector __attribute__((vector_size(kVectorLanes * sizeof(double))));

inline Vector Load(const double* values)
{
    Vector vector;
    __builtin_memcpy(&vector, values, sizeof vector);
    return vector;
}

inline void Store(const Vector& vector, double* values)
{
    __builtin_memcpy(values, &vector, sizeof vector);
}

inline Vector Splat(double value)
{
#if BRV_SMOOTHING_VECTOR_LANES == 4
    return Vector{value, value, value, value};
#else
    return Vector{value, value};
#endif
}

// The states and parameters of all lanes. Local to the pass, so that they stay in registers as far as there are any.
struct LaneState
{
    Vector alpha[kVectors];
    Vector keepLevel[kVectors];   // 1 - alpha
    Vector beta[kVectors];
    Vector keepTrend[kVectors];   // 1 - beta
    Vector gamma[kVectors];
    Vector keepSeason[kVectors];   // 1 - gamma
    Vector level[kVectors];
    Vector trend[kVectors];
    Vector sse[kVectors];
};

// One period. Compile-time switches take the place of SmoothingStep's tests; `isFirstRound` reads the season from the
// start values, which all lanes share, and `isLastRound` leaves out the season that no later period reads.
template <int kTrend, int kSeason, bool isMissing, bool isFirstRound, bool isLastRound>
inline __attribute__((always_inline)) void Step(
    LaneState& s, double scalarObservation, double startSeason, double* season)
{
    const Vector observation = Splat(scalarObservation);
    for (int k = 0; k < kVectors; ++k)
    {
        const Vector level = s.level[k];
        Vector base = level;
        if constexpr (kTrend == 1)
            base = level + s.trend[k];
        else if constexpr (kTrend == 2)
            base = level * s.trend[k];

        Vector seasonal = Splat(startSeason);
        if constexpr (kSeason != 0 && !isFirstRound)
            seasonal = Load(season + k * kVectorLanes);
        Vector fitted = base;
        if constexpr (kSeason == 1)
            fitted = base + seasonal;
        else if constexpr (kSeason == 2)
            fitted = base * seasonal;

        const Vector x = isMissing ? fitted : observation;
        if constexpr (kSeason != 0 && !isLastRound)
        {
            const Vector learned = kSeason == 1 ? x - base : x / base;
            Store(s.gamma[k] * learned + s.keepSeason[k] * seasonal, season + k * kVectorLanes);
        }
        Vector deseasonalised = x;
        if constexpr (kSeason == 1)
            deseasonalised = x - seasonal;
        else if constexpr (kSeason == 2)
            deseasonalised = x / seasonal;
        const Vector next = s.alpha[k] * deseasonalised + s.keepLevel[k] * base;

        if constexpr (kTrend != 0)
        {
            const Vector change = kTrend == 1 ? next - level : next / level;
            s.trend[k] = s.beta[k] * change + s.keepTrend[k] * s.trend[k];
        }
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
    const Vector one = Splat(1.0);
    for (int k = 0; k < kVectors; ++k)
    {
        s.alpha[k] = Load(lanes.alpha + k * kVectorLanes);
        s.beta[k] = Load(lanes.beta + k * kVectorLanes);
        s.gamma[k] = Load(lanes.gamma + k * kVectorLanes);
        s.keepLevel[k] = one - s.alpha[k];
        s.keepTrend[k] = one - s.beta[k];
        s.keepSeason[k] = one - s.gamma[k];
        s.level[k] = Splat(problem.startLevel);
        s.trend[k] = Splat(problem.startTrend);
        s.sse[k] = Splat(0.0);
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
    for (int k = 0; k < kVectors; ++k)
        Store(s.sse[k], lanes.sse + k * kVectorLanes);
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
