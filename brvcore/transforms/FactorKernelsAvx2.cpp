#define BRV_FACTOR_LANES 16
#include "brvcore/transforms/FactorKernelsImpl.h"

extern const FactorKernel kFactorKernelAvx2;
const FactorKernel kFactorKernelAvx2{kLanes, ForwardSubstitute, BackSubstitute, Reflect};
