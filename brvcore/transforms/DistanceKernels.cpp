#define BRV_DISTANCE_LANES 2
#include "brvcore/transforms/DistanceKernelsImpl.h"

// Defined by DistanceKernelsAvx2.cpp, where the build has it.
extern const DistanceKernel kDistanceKernelAvx2;

const DistanceKernel* DistanceKernelOfLevel(int level)
{
    static constexpr DistanceKernel kBaseline{FindNearest, AddRows, AddWeightedRows};
    if (level == 0)
        return &kBaseline;
#ifdef BRV_DISTANCE_AVX2
    if (level == 1 && __builtin_cpu_supports("avx2"))
        return &kDistanceKernelAvx2;
#endif
    return nullptr;
}

const DistanceKernel& BestDistanceKernel()
{
    static const DistanceKernel* const kBest =
        DistanceKernelOfLevel(1) != nullptr ? DistanceKernelOfLevel(1) : DistanceKernelOfLevel(0);
    return *kBest;
}
