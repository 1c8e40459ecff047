#pragma once

// Squared one-step errors of many parameter sets at a time: the optimiser's unit of work.
//
// A lane is one parameter set with states of its own. Lanes never mix, so each performs the operations of SmoothingStep
// (ExponentialSmoothing.h) in the same order, and its sum is equal to the last bit, whatever the width of the vectors. The
// gain is twofold: several lanes share an instruction, and a recursion that waits on its own previous period leaves the
// machine idle, which independent ones do not.

// What all lanes have in common. Trend and season are 0 none, 1 additive, 2 multiplicative. The season pointer leads to
// the m seasonal states in front of the first period; unused without a season.
struct SmoothingProblem
{
    const double* series = nullptr;   // NaN is missing
    int timeSeriesLen = 0;
    int trend = 0;
    int season = 0;
    int frequency = 1;
    double startLevel = 0.0;
    double startTrend = 0.0;
    const double* startSeason = nullptr;
};

// Parameter sets and their results; each array has `lanes` entries of the chosen kernel.
struct SmoothingLanes
{
    const double* alpha;
    const double* beta;
    const double* gamma;
    double* sse;
};

struct SmoothingKernel
{
    int lanes;   // parameter sets per call
    // The ring is work space of frequency * lanes values.
    void (*accumulate)(const SmoothingProblem& problem, const SmoothingLanes& lanes, double* ring);
};

// The widest kernel that this processor runs. All give the same bits.
const SmoothingKernel& BestSmoothingKernel();

// The kernel of one instruction level, or null when the processor or the build has none: 0 the baseline of the target,
// 1 AVX2. AVX-512 was no faster: the divider sets the pace. For tests and benchmarks.
const SmoothingKernel* SmoothingKernelOfLevel(int level);
