#define BRV_SMOOTHING_LANES 12
#include "brvcore/transforms/SmoothingKernelsImpl.h"

// Defined by SmoothingKernelsAvx2.cpp, where the build has it.
extern const SmoothingKernel kSmoothingKernelAvx2;

const SmoothingKernel* SmoothingKernelOfLevel(int level)
{
    static constexpr SmoothingKernel kBaseline{kLanes, AccumulateSquaredErrors};
    if (level == 0)
        return &kBaseline;
#ifdef BRV_SMOOTHING_AVX2
    if (level == 1 && __builtin_cpu_supports("avx2"))
        return &kSmoothingKernelAvx2;
#endif
    return nullptr;
}

const SmoothingKernel& BestSmoothingKernel()
{
    static const SmoothingKernel* const kBest =
        SmoothingKernelOfLevel(1) != nullptr ? SmoothingKernelOfLevel(1) : SmoothingKernelOfLevel(0);
    return *kBest;
}
