#define BRV_FACTOR_LANES 8
#include "brvcore/transforms/FactorKernelsImpl.h"

// Defined by FactorKernelsAvx2.cpp, where the build has it.
extern const FactorKernel kFactorKernelAvx2;

const FactorKernel* FactorKernelOfLevel(int level)
{
    static constexpr FactorKernel kBaseline{kLanes, ForwardSubstitute, BackSubstitute, Reflect};
    if (level == 0)
        return &kBaseline;
#ifdef BRV_FACTOR_AVX2
    if (level == 1 && __builtin_cpu_supports("avx2"))
        return &kFactorKernelAvx2;
#endif
    return nullptr;
}

const FactorKernel& BestFactorKernel()
{
    static const FactorKernel* const kBest =
        FactorKernelOfLevel(1) != nullptr ? FactorKernelOfLevel(1) : FactorKernelOfLevel(0);
    return *kBest;
}
